#ifndef VEK_COMMON_LOCALIZATION_C_TEXT_H
#define VEK_COMMON_LOCALIZATION_C_TEXT_H

#include <map>
#include <memory>
#include <string>

#include "foundation/Export.h"
#include "host/C_Time.h"

class C_Descriptor;

namespace Local {

// The no-message id that a new text holds.
constexpr unsigned NO_MESSAGE_ID = 0x0000FFFF;
// A message number that is never looked up: the default text is the template.
constexpr unsigned short NOT_IN_CATALOG = 0xFFFE;

// A user-visible text before it is shown: a message id (facility and number,
// see Local.h), the English default template used when no catalog answers,
// and named arguments. GetString turns it into a string for a locale: the
// catalog's template (or the default) with the arguments put in by the
// markup formatter (TextFormat.h).
//
// A value type: copies are deep (every argument is cloned). Not thread-safe
// for writing; const use from several threads is safe as far as the catalogs
// are (Local.h).
class VEK_API C_Text {
 public:
  // One named argument. Format writes the value with the given printf-style
  // format (null: the kind's default) into buffer[size] and is true when the
  // result fits or loses only its last character to the terminator (a
  // result of exactly `size` counts as success). A format of another class
  // than the value (N_PrintfFormat::IsSafe) is refused (false) instead of
  // being passed to snprintf, so templates from files can never make it read
  // or write what it was not given. Integer formats fit every integer kind:
  // the value goes at the width the format names ("%ld" reads a long, "%d"
  // an int), converted as C converts.
  class VEK_API C_TextArg {
   public:
    virtual ~C_TextArg();
    virtual C_TextArg* Clone() const = 0;
    virtual bool Format(char* o_buffer, unsigned i_size, const char* i_format) const = 0;
  };

  // A number: T is one of unsigned long, unsigned int, long, int, double.
  template <class T>
  class VEK_API C_Arg : public C_TextArg {
   public:
    explicit C_Arg(T i_value) : m_value(i_value) {}
    C_TextArg* Clone() const override { return new C_Arg(*this); }
    bool Format(char* o_buffer, unsigned i_size, const char* i_format) const override;
    T GetValue() const { return m_value; }
    // The default format: "%lu", "%u", "%ld", "%d", "%f".
    static const char* const sm_stdFormat;

   private:
    T m_value;
  };

  // A string; default format "%s".
  class VEK_API C_StringArg : public C_TextArg {
   public:
    explicit C_StringArg(const std::string& i_value) : m_value(i_value) {}
    C_TextArg* Clone() const override { return new C_StringArg(*this); }
    bool Format(char* o_buffer, unsigned i_size, const char* i_format) const override;
    static const char* const sm_stdFormat;

   private:
    std::string m_value;
  };

  // A point in time, written in local time with strftime; default "%c". An
  // empty result counts as a failure.
  class VEK_API C_TimeArg : public C_TextArg {
   public:
    explicit C_TimeArg(const C_Time& i_value) : m_value(i_value) {}
    C_TextArg* Clone() const override { return new C_TimeArg(*this); }
    bool Format(char* o_buffer, unsigned i_size, const char* i_format) const override;
    static const char* const sm_stdFormat;

   private:
    C_Time m_value;
  };

  // Message id NO_MESSAGE_ID, empty default: shows as "".
  C_Text();
  C_Text(unsigned i_id, const std::string& i_defaultText);
  // The id is rewritten to the descriptor's facility (Local::MapMsgId).
  C_Text(unsigned i_id, const C_Descriptor& i_descriptor, const std::string& i_defaultText);
  C_Text(const C_Text& i_other);
  C_Text& operator=(const C_Text& i_other);
  virtual ~C_Text();

  void SetMsgId(unsigned i_id, const std::string& i_defaultText);
  void SetMsgId(unsigned i_id, const C_Descriptor& i_descriptor, const std::string& i_defaultText);
  unsigned GetMsgId() const { return m_msgId; }
  const std::string& GetDefaultText() const { return m_defaultText; }

  // Stores i_arg (not null) under i_name; the text owns it from now on
  // (ClearArgs and the destructor delete it). Each name is meant to be set
  // once per text. When i_name already holds an argument, the entry is
  // overwritten and the earlier argument is NOT deleted: the text no longer
  // owns it, and whoever replaces it deletes it (GetArg gives it first).
  // AddArg calls SetArg, so the same holds for every AddArg.
  void SetArg(const std::string& i_name, C_TextArg* i_arg);
  void AddArg(const std::string& i_name, const std::string& i_value);
  void AddArg(const std::string& i_name, const char* i_value);
  void AddArg(const std::string& i_name, unsigned long i_value);
  void AddArg(const std::string& i_name, unsigned int i_value);
  void AddArg(const std::string& i_name, long i_value);
  void AddArg(const std::string& i_name, int i_value);
  void AddArg(const std::string& i_name, double i_value);
  void AddArg(const std::string& i_name, const C_Time& i_value);
  // Deletes every argument.
  void ClearArgs();
  // The argument stored under i_name, or null.
  const C_TextArg* GetArg(const std::string& i_name) const;

  // The text for i_locale: the catalog template for the message id (unless
  // its number is NOT_IN_CATALOG), or the default text when there is none or
  // it is empty, formatted with the arguments.
  std::string GetString(const std::string& i_locale) const;
  // The same for Local::GetLocale().
  std::string GetString() const;

  // Argument i_name written with i_format ("" for the argument's default).
  // "" when there is no such argument or its Format fails even with a
  // 64 KiB buffer (outputs up to 255 characters are tried in a 256-byte
  // buffer first; one of exactly 256 characters loses its last character,
  // by the rule of C_TextArg::Format). The markup formatter calls it for
  // each argument tag.
  std::string FormatArg(const std::string& i_name, const std::string& i_format) const;
  // Formats i_template with this text's arguments (Local::Format::printf).
  std::string Format(const std::string& i_template) const;

 private:
  unsigned m_msgId;
  std::string m_defaultText;
  std::map<std::string, std::unique_ptr<C_TextArg>> m_args;
};

template <> const char* const C_Text::C_Arg<unsigned long>::sm_stdFormat;
template <> const char* const C_Text::C_Arg<unsigned int>::sm_stdFormat;
template <> const char* const C_Text::C_Arg<long>::sm_stdFormat;
template <> const char* const C_Text::C_Arg<int>::sm_stdFormat;
template <> const char* const C_Text::C_Arg<double>::sm_stdFormat;

extern template class C_Text::C_Arg<unsigned long>;
extern template class C_Text::C_Arg<unsigned int>;
extern template class C_Text::C_Arg<long>;
extern template class C_Text::C_Arg<int>;
extern template class C_Text::C_Arg<double>;

}  // namespace Local

#endif
