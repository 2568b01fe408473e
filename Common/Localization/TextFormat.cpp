#include "Common/Localization/TextFormat.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "Common/Localization/C_Text.h"

namespace Local {
namespace Format {

namespace {

// Everything one call works on; the machine itself has no other state.
struct S_Workspace {
  std::string output;
  std::string name;       // pending tag or attribute name
  std::string ref;        // pending reference digits or entity name
  std::string tagName;    // the argument name, once a blank ended it
  std::string attName;
  std::string attValue;
  char quote = 0;         // the quote that opened the value being read; 0 outside values
  std::string format;     // from FMT
  const C_Text* text = nullptr;

  void Clean() {
    name.clear();
    ref.clear();
    tagName.clear();
    attName.clear();
    attValue.clear();
    quote = 0;
    format.clear();
  }
};

using Predicate = bool (*)(const S_Workspace&, unsigned char);
using Action = bool (*)(S_Workspace&, unsigned char);

struct S_Transition {
  Predicate test;  // null: match on `ch`
  char ch;         // with no predicate: this character, or 0 for any
  int next;        // -1: error
  Action action;   // null: none
};

// --- predicates -------------------------------------------------------------
bool isAlpha(const S_Workspace&, unsigned char c) { return std::isalpha(c) != 0; }
bool isDigit(const S_Workspace&, unsigned char c) { return std::isdigit(c) != 0; }
bool isXDigit(const S_Workspace&, unsigned char c) { return std::isxdigit(c) != 0; }
bool isName1(const S_Workspace&, unsigned char c) { return std::isalpha(c) || c == '_' || c == ':'; }
bool isName(const S_Workspace&, unsigned char c) {
  return std::isalnum(c) || c == '_' || c == ':' || c == '.' || c == '-';
}
bool endAtt(const S_Workspace& w, unsigned char c) { return c == static_cast<unsigned char>(w.quote); }

// --- actions ------------------------------------------------------------------
// A numeric reference keeps only the low byte of its value; strtol saturates
// absurdly long digit strings, which is as good a byte as any.
char NumericRef(const std::string& i_digits, int i_base) {
  return static_cast<char>(static_cast<unsigned char>(std::strtol(i_digits.c_str(), nullptr, i_base) & 0xFF));
}

bool EntityRef(const std::string& i_name, char& o_char) {
  static const struct { const char* name; char value; } s_entities[] = {
      {"lt", '<'}, {"gt", '>'}, {"amp", '&'}, {"apos", '\''}, {"quot", '"'}};
  for (const auto& entity : s_entities) {
    if (i_name == entity.name) {
      o_char = entity.value;
      return true;
    }
  }
  return false;
}

bool append(S_Workspace& w, unsigned char c) { w.output += static_cast<char>(c); return true; }
// Inside a quoted value characters go to the value, elsewhere to the name.
bool save(S_Workspace& w, unsigned char c) { (w.quote ? w.attValue : w.name) += static_cast<char>(c); return true; }
bool saveRef(S_Workspace& w, unsigned char c) { w.ref += static_cast<char>(c); return true; }
bool charHex(S_Workspace& w, unsigned char) { w.output += NumericRef(w.ref, 16); w.ref.clear(); return true; }
bool charDec(S_Workspace& w, unsigned char) { w.output += NumericRef(w.ref, 10); w.ref.clear(); return true; }
bool charRef(S_Workspace& w, unsigned char) {
  char c;
  if (!EntityRef(w.ref, c)) return false;
  w.output += c;
  w.ref.clear();
  return true;
}
bool attHex(S_Workspace& w, unsigned char) { w.attValue += NumericRef(w.ref, 16); w.ref.clear(); return true; }
bool attDec(S_Workspace& w, unsigned char) { w.attValue += NumericRef(w.ref, 10); w.ref.clear(); return true; }
bool attRef(S_Workspace& w, unsigned char) {
  char c;
  if (!EntityRef(w.ref, c)) return false;
  w.attValue += c;
  w.ref.clear();
  return true;
}
bool tagName(S_Workspace& w, unsigned char) { w.tagName.swap(w.name); w.name.clear(); return true; }
bool attName(S_Workspace& w, unsigned char) { w.attName.swap(w.name); w.name.clear(); return true; }
bool attQuot(S_Workspace& w, unsigned char c) { w.quote = static_cast<char>(c); return true; }
bool attVal(S_Workspace& w, unsigned char) {
  if (w.attName == "FMT") w.format = w.attValue;
  w.attName.clear();
  w.attValue.clear();
  w.quote = 0;
  return true;
}
bool endTag(S_Workspace& w, unsigned char) {
  // A name ended directly by '>' is still pending; one ended by a blank was
  // moved to tagName.
  // A tag naming no argument, or one that cannot be formatted, adds nothing.
  const std::string& argument = w.tagName.empty() ? w.name : w.tagName;
  if (w.text) w.output += w.text->FormatArg(argument, w.format);
  w.Clean();
  return true;
}

// The markup, one state per row: a state is the index of its first
// transition, the last transition of each state catches every character.
const S_Transition ParamStates[] = {
    // 0: text
    {nullptr, '&', 3, nullptr},
    {nullptr, '<', 20, nullptr},
    {nullptr, 0, 0, append},
    // 3: after '&'
    {nullptr, '#', 6, nullptr},
    {isAlpha, 0, 17, saveRef},
    {nullptr, 0, -1, nullptr},
    // 6: after "&#"
    {nullptr, 'x', 9, nullptr},
    {isDigit, 0, 14, saveRef},
    {nullptr, 0, -1, nullptr},
    // 9: after "&#x"
    {isXDigit, 0, 11, saveRef},
    {nullptr, 0, -1, nullptr},
    // 11: hexadecimal digits
    {nullptr, ';', 0, charHex},
    {isXDigit, 0, 11, saveRef},
    {nullptr, 0, -1, nullptr},
    // 14: decimal digits
    {nullptr, ';', 0, charDec},
    {isDigit, 0, 14, saveRef},
    {nullptr, 0, -1, nullptr},
    // 17: entity name
    {nullptr, ';', 0, charRef},
    {isAlpha, 0, 17, saveRef},
    {nullptr, 0, -1, nullptr},
    // 20: after '<'
    {isName1, 0, 22, save},
    {nullptr, 0, -1, nullptr},
    // 22: tag name
    {nullptr, '>', 0, endTag},
    {nullptr, ' ', 26, tagName},
    {isName, 0, 22, save},
    {nullptr, 0, -1, nullptr},
    // 26: inside the tag
    {nullptr, '>', 0, endTag},
    {nullptr, ' ', 26, nullptr},
    {isName1, 0, 30, save},
    {nullptr, 0, -1, nullptr},
    // 30: attribute name
    {nullptr, ' ', 34, attName},
    {nullptr, '=', 37, attName},
    {isName, 0, 30, save},
    {nullptr, 0, -1, nullptr},
    // 34: blanks after the attribute name
    {nullptr, '=', 37, nullptr},
    {nullptr, ' ', 34, nullptr},
    {nullptr, 0, -1, nullptr},
    // 37: after '='
    {nullptr, ' ', 37, nullptr},
    {nullptr, '"', 41, attQuot},
    {nullptr, '\'', 41, attQuot},
    {nullptr, 0, -1, nullptr},
    // 41: attribute value
    {nullptr, '&', 45, nullptr},
    {nullptr, '<', -1, nullptr},
    {endAtt, 0, 26, attVal},
    {nullptr, 0, 41, save},
    // 45: '&' in a value
    {nullptr, '#', 48, nullptr},
    {isAlpha, 0, 59, saveRef},
    {nullptr, 0, -1, nullptr},
    // 48: "&#" in a value
    {nullptr, 'x', 51, nullptr},
    {isDigit, 0, 56, saveRef},
    {nullptr, 0, -1, nullptr},
    // 51: "&#x" in a value
    {isXDigit, 0, 53, saveRef},
    {nullptr, 0, -1, nullptr},
    // 53: hexadecimal digits in a value
    {nullptr, ';', 41, attHex},
    {isXDigit, 0, 53, saveRef},
    {nullptr, 0, -1, nullptr},
    // 56: decimal digits in a value
    {nullptr, ';', 41, attDec},
    {isDigit, 0, 56, saveRef},
    {nullptr, 0, -1, nullptr},
    // 59: entity name in a value
    {nullptr, ';', 41, attRef},
    {isAlpha, 0, 59, saveRef},
    {nullptr, 0, -1, nullptr},
};
constexpr int TRANSITIONS = sizeof ParamStates / sizeof ParamStates[0];
static_assert(TRANSITIONS == 62, "the markup has 62 transitions");

// Every state ends in a catch-all, so a match is always found before the
// next state's row begins.
const S_Transition& Match(const S_Workspace& i_workspace, int i_state, unsigned char i_c) {
  for (int i = i_state;; ++i) {
    const S_Transition& t = ParamStates[i];
    if (t.test ? t.test(i_workspace, i_c) : (t.ch == 0 || static_cast<unsigned char>(t.ch) == i_c)) return t;
  }
}

}  // namespace

std::string printf(const std::string& i_template, const C_Text& i_text, std::vector<int>* o_states) {
  S_Workspace workspace;
  workspace.text = &i_text;
  int state = 0;
  for (char ch : i_template) {
    const unsigned char c = static_cast<unsigned char>(ch);
    const S_Transition& t = Match(workspace, state, c);
    if ((t.action && !t.action(workspace, c)) || t.next < 0) {
      workspace.Clean();
      state = 0;
      if (o_states) o_states->push_back(-1);
      continue;
    }
    state = t.next;
    if (o_states) o_states->push_back(state);
  }
  return workspace.output;
}

std::string printf(const std::string& i_template, const C_Text& i_text) {
  return printf(i_template, i_text, nullptr);
}

int TransitionCount() { return TRANSITIONS; }

}  // namespace Format
}  // namespace Local
