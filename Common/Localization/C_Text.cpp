#include "Common/Localization/C_Text.h"

#include <cstdio>
#include <ctime>
#include <type_traits>
#include <vector>

#include "Common/Localization/Local.h"
#include "Common/Localization/N_PrintfFormat.h"
#include "Common/Localization/TextFormat.h"

namespace Local {

namespace {
template <class T>
struct S_KindOf;
template <> struct S_KindOf<unsigned long> { static constexpr N_PrintfFormat::E_Kind value = N_PrintfFormat::UNSIGNED_LONG; };
template <> struct S_KindOf<unsigned int> { static constexpr N_PrintfFormat::E_Kind value = N_PrintfFormat::UNSIGNED_INT; };
template <> struct S_KindOf<long> { static constexpr N_PrintfFormat::E_Kind value = N_PrintfFormat::LONG; };
template <> struct S_KindOf<int> { static constexpr N_PrintfFormat::E_Kind value = N_PrintfFormat::INT; };
template <> struct S_KindOf<double> { static constexpr N_PrintfFormat::E_Kind value = N_PrintfFormat::DOUBLE; };

// An integer goes to snprintf at the width its format names, converted as
// C converts; a double as it is.
template <class T>
int Print(char* o_buffer, unsigned i_size, const char* i_format, T i_value) {
  typedef typename std::conditional<std::is_signed<T>::value, long, unsigned long>::type T_Long;
  typedef typename std::conditional<std::is_signed<T>::value, int, unsigned int>::type T_Int;
  return N_PrintfFormat::TakesLong(i_format)
             ? std::snprintf(o_buffer, i_size, i_format, static_cast<T_Long>(i_value))
             : std::snprintf(o_buffer, i_size, i_format, static_cast<T_Int>(i_value));
}
int Print(char* o_buffer, unsigned i_size, const char* i_format, double i_value) {
  return std::snprintf(o_buffer, i_size, i_format, i_value);
}

// snprintf's result judged by the lenient rule: a result of exactly i_size
// (the last character lost to the terminator) still counts as success.
bool Fits(int i_result, unsigned i_size) {
  return i_result >= 0 && static_cast<unsigned>(i_result) <= i_size;
}
}  // namespace

C_Text::C_TextArg::~C_TextArg() = default;

template <> const char* const C_Text::C_Arg<unsigned long>::sm_stdFormat = "%lu";
template <> const char* const C_Text::C_Arg<unsigned int>::sm_stdFormat = "%u";
template <> const char* const C_Text::C_Arg<long>::sm_stdFormat = "%ld";
template <> const char* const C_Text::C_Arg<int>::sm_stdFormat = "%d";
template <> const char* const C_Text::C_Arg<double>::sm_stdFormat = "%f";
const char* const C_Text::C_StringArg::sm_stdFormat = "%s";
const char* const C_Text::C_TimeArg::sm_stdFormat = "%c";

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
template <class T>
bool C_Text::C_Arg<T>::Format(char* o_buffer, unsigned i_size, const char* i_format) const {
  const char* format = i_format ? i_format : sm_stdFormat;
  if (!o_buffer || i_size == 0 || !N_PrintfFormat::IsSafe(format, S_KindOf<T>::value)) return false;
  return Fits(Print(o_buffer, i_size, format, m_value), i_size);
}

bool C_Text::C_StringArg::Format(char* o_buffer, unsigned i_size, const char* i_format) const {
  const char* format = i_format ? i_format : sm_stdFormat;
  if (!o_buffer || i_size == 0 || !N_PrintfFormat::IsSafe(format, N_PrintfFormat::STRING)) return false;
  return Fits(std::snprintf(o_buffer, i_size, format, m_value.c_str()), i_size);
}

bool C_Text::C_TimeArg::Format(char* o_buffer, unsigned i_size, const char* i_format) const {
  std::tm broken;
  if (!o_buffer || i_size == 0 || !m_value.GetLocalTime(broken)) return false;
  return std::strftime(o_buffer, i_size, i_format ? i_format : sm_stdFormat, &broken) > 0;
}
#pragma GCC diagnostic pop

template class C_Text::C_Arg<unsigned long>;
template class C_Text::C_Arg<unsigned int>;
template class C_Text::C_Arg<long>;
template class C_Text::C_Arg<int>;
template class C_Text::C_Arg<double>;

C_Text::C_Text() : m_msgId(NO_MESSAGE_ID) {}

C_Text::C_Text(unsigned i_id, const std::string& i_defaultText)
    : m_msgId(i_id), m_defaultText(i_defaultText) {}

C_Text::C_Text(unsigned i_id, const C_Descriptor& i_descriptor, const std::string& i_defaultText)
    : m_msgId(MapMsgId(i_id, i_descriptor)), m_defaultText(i_defaultText) {}

C_Text::C_Text(const C_Text& i_other) : m_msgId(i_other.m_msgId), m_defaultText(i_other.m_defaultText) {
  for (const auto& arg : i_other.m_args) m_args[arg.first].reset(arg.second->Clone());
}

C_Text& C_Text::operator=(const C_Text& i_other) {
  if (this != &i_other) {
    C_Text copy(i_other);  // clone first, so a failure leaves *this intact
    ClearArgs();
    m_msgId = copy.m_msgId;
    m_defaultText.swap(copy.m_defaultText);
    m_args.swap(copy.m_args);
  }
  return *this;
}

C_Text::~C_Text() = default;

void C_Text::SetMsgId(unsigned i_id, const std::string& i_defaultText) {
  m_msgId = i_id;
  m_defaultText = i_defaultText;
}

void C_Text::SetMsgId(unsigned i_id, const C_Descriptor& i_descriptor,
                      const std::string& i_defaultText) {
  SetMsgId(MapMsgId(i_id, i_descriptor), i_defaultText);
}

void C_Text::SetArg(const std::string& i_name, C_TextArg* i_arg) {
  // The earlier argument leaves undestroyed (see the header): hosts that
  // replace an argument delete the earlier one.
  std::unique_ptr<C_TextArg>& entry = m_args[i_name];
  (void)entry.release();
  entry.reset(i_arg);
}

void C_Text::AddArg(const std::string& i_name, const std::string& i_value) { SetArg(i_name, new C_StringArg(i_value)); }
void C_Text::AddArg(const std::string& i_name, const char* i_value) { SetArg(i_name, new C_StringArg(i_value ? i_value : "")); }
void C_Text::AddArg(const std::string& i_name, unsigned long i_value) { SetArg(i_name, new C_Arg<unsigned long>(i_value)); }
void C_Text::AddArg(const std::string& i_name, unsigned int i_value) { SetArg(i_name, new C_Arg<unsigned int>(i_value)); }
void C_Text::AddArg(const std::string& i_name, long i_value) { SetArg(i_name, new C_Arg<long>(i_value)); }
void C_Text::AddArg(const std::string& i_name, int i_value) { SetArg(i_name, new C_Arg<int>(i_value)); }
void C_Text::AddArg(const std::string& i_name, double i_value) { SetArg(i_name, new C_Arg<double>(i_value)); }
void C_Text::AddArg(const std::string& i_name, const C_Time& i_value) { SetArg(i_name, new C_TimeArg(i_value)); }

void C_Text::ClearArgs() { m_args.clear(); }

const C_Text::C_TextArg* C_Text::GetArg(const std::string& i_name) const {
  auto found = m_args.find(i_name);
  return found == m_args.end() ? nullptr : found->second.get();
}

std::string C_Text::GetString(const std::string& i_locale) const {
  std::string templ;
  if ((m_msgId & 0xFFFF) != NOT_IN_CATALOG) templ = Local::GetString(m_msgId, i_locale);
  if (templ.empty()) templ = m_defaultText;
  return Format(templ);
}

std::string C_Text::GetString() const { return GetString(GetLocale()); }

std::string C_Text::FormatArg(const std::string& i_name, const std::string& i_format) const {
  const C_TextArg* arg = GetArg(i_name);
  if (!arg) return std::string();
  const char* format = i_format.empty() ? nullptr : i_format.c_str();
  char small[256];
  if (arg->Format(small, sizeof small, format)) return small;
  // Longer results (long strings, wide fields) get one more try in a buffer
  // large enough for any width the format check lets through.
  std::vector<char> big(65536);
  if (!arg->Format(big.data(), static_cast<unsigned>(big.size()), format)) return std::string();
  return big.data();
}

std::string C_Text::Format(const std::string& i_template) const {
  return Local::Format::printf(i_template, *this);
}

}  // namespace Local
