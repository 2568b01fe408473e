#ifndef VEK_TOOLS_N_TEXT_H
#define VEK_TOOLS_N_TEXT_H

#include <string>

// Small text helpers vekctl's commands share.
namespace N_Text {

// i_text without the blanks around it (identity fields come blank-padded).
std::string Trimmed(const std::string& i_text);
// A pointer as the decimal number the module's operations read as an
// address argument.
std::string Address(const void* i_pointer);

}  // namespace N_Text

#endif
