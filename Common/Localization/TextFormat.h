#ifndef VEK_COMMON_LOCALIZATION_TEXTFORMAT_H
#define VEK_COMMON_LOCALIZATION_TEXTFORMAT_H

#include <string>
#include <vector>

namespace Local {

class C_Text;

// The markup of message templates.
//
//   text           copied as it is
//   <name>         the argument `name` of the text, in its default format
//   <name FMT='%03d' other="ignored">
//                  the same with a printf-style format; other attributes
//                  are read and ignored. A format of another class than
//                  the argument (a string format for a number, an integer
//                  one for a double, "%n", "*") is refused: the tag adds
//                  nothing. Integer formats fit every integer argument.
//   &lt; &gt; &amp; &apos; &quot;   < > & ' "
//   &#65; &#x41;   one character given by number (only its low byte is kept)
//
// Names start with a letter, '_' or ':' and go on with letters, digits,
// '_', ':', '.', '-'. Attribute values are quoted with " or ', may hold
// character references and may not hold '<'. Only the space character is a
// blank inside a tag. There are no closing tags.
//
// Broken markup never fails the call: the construct being read when the
// error shows (a bad character, an unknown entity name, a tag naming no
// argument or one whose format does not fit) is dropped together with the
// character that showed the error, and reading goes on as text after it.
// Output made before stays. An unfinished construct at the end is dropped.
namespace Format {

// Formats i_template with the arguments of i_text. Stateless: safe on any
// thread as far as i_text is not being changed.
std::string printf(const std::string& i_template, const C_Text& i_text);

// The same, also recording the machine's state after each input character
// (-1 marks a character that ended a construct with an error or a failed
// action). The state numbers are those of the transition table: 0 text,
// 3-19 character references, 20-37 tags and attribute names, 41-59
// attribute values. For tests and diagnostics.
std::string printf(const std::string& i_template, const C_Text& i_text,
                           std::vector<int>* o_states);

// The number of transitions in the table, for tests of its shape.
int TransitionCount();

}  // namespace Format
}  // namespace Local

#endif
