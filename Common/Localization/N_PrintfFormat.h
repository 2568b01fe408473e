#ifndef VEK_COMMON_LOCALIZATION_N_PRINTFFORMAT_H
#define VEK_COMMON_LOCALIZATION_N_PRINTFFORMAT_H

namespace Local {

// Formats reach snprintf from message templates, that is from catalog files
// that anyone can edit. A format of another class than the value (a "%s"
// with an int crashes, "%n" writes memory) would make snprintf read or write
// what it was not given, so every format is checked against the kind of
// value it will be given first. Integers are one class: an integer of any
// kind is passed at the width the format names (TakesLong), as on the
// 32-bit platform, where int and long are one width, every integer format
// reads any integer.
namespace N_PrintfFormat {

enum E_Kind { INT, UNSIGNED_INT, LONG, UNSIGNED_LONG, DOUBLE, STRING };

// True when i_format is safe to pass to snprintf with exactly one value of
// kind i_kind: any literal text and "%%", and at most one conversion of the
// form % [flags -+ #0'] [width] [.precision] [length] conversion, where width
// and precision have at most 4 digits (no '*', no "n$" positions, no %n) and
// the length and conversion fit the kind:
//   INT, UNSIGNED_INT,   no length, h or hh; d i o u x X c
//   LONG, UNSIGNED_LONG  or l;               d i o u x X
//   DOUBLE               no length or l;     f F e E g G a A
//   STRING               no length;          s
// A null format is not safe.
bool IsSafe(const char* i_format, E_Kind i_kind);
// True when the first conversion of i_format (a safe one) has the length
// "l": an integer then goes to snprintf as a long, otherwise as an int.
bool TakesLong(const char* i_format);

}  // namespace N_PrintfFormat
}  // namespace Local

#endif
