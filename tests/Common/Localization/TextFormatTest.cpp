#include "Common/Localization/TextFormat.h"

#include <gtest/gtest.h>

#include "Common/Localization/C_Text.h"

namespace {

using Local::C_Text;

// The markup, its errors and its recovery: an error drops the character
// that caused it and whatever was pending, and the text goes on.
TEST(TextFormat, Markup) {
  const struct { const char* what; const char* templ; const char* expected; } cases[] = {
      // text and character references
      {"entities", "Drive &lt;0&gt; &amp; &apos;x&apos; &quot;y&quot;", "Drive <0> & 'x' \"y\""},
      {"references keep the low byte", "&#65;&#x42;&#x6a;&#321;&#x141;", "ABjAA"},
      {"upper-case X is an error", "a&#X41;b", "a41;b"},
      {"unknown entity vanishes", "x&foo;y", "xy"},
      {"'&' then blank", "a & b", "a b"},
      {"bad character after '&#x', hex digits, decimal digits, entity name", "1&#xg;2&#x4g;3&#6x;4&l1;5",
       "1;2;3;4;5"},
      // tags
      {"argument", "<count> drives", "7 drives"},
      {"blanks around '='", "<count   FMT  =  '%3d'  >", "  7"},
      {"other attributes ignored, last FMT wins", "<count a='1' FMT='%02d' b=\"2\" FMT='%04d'>", "0007"},
      {"references in a value", "<count FMT='&#37;03d'> <count FMT='&#x25;d'>", "007 7"},
      {"entity in a value", "<name FMT='&lt;%s&gt;'>", "<disk>"},
      {"other quote inside a value", "<name FMT=\"'%s'\">", "'disk'"},
      {"name characters", "<a.b-c:d_e>", "1"},
      {"tag names no argument", "[<nothing>]", "[]"},
      {"FMT that does not fit the argument", "[<name FMT='%d'>]", "[]"},
      {"'<' in a value ends the tag with an error", "[<count FMT='<%d'>]", "[%d'>]"},
      {"bad name start", "a<1>b", "a>b"},
      {"bad character in a name", "a<co#unt>b", "aunt>b"},
      {"bad character inside a tag", "<count #>x", ">x"},
      {"bad character in an attribute name", "<count F#MT='%d'>x", "MT='%d'>x"},
      {"attribute without value", "<count FMT>x", "x"},
      {"attribute name then blank then bad", "<count FMT x>y", ">y"},
      {"unquoted value", "<count FMT=%d>x", "d>x"},
      {"unfinished tag at the end", "abc <name", "abc "},
      {"bad references in a value: unknown entity, after '&', '&#', '&#x', hex, decimal, entity name",
       "<c FMT='&foo;'>1<c FMT='& '>2<c FMT='&#a'>3<c FMT='&#xz'>4<c FMT='&#x2z'>5<c FMT='&#3z'>6<c FMT='&lt2'>7",
       "'>1'>2'>3'>4'>5'>6'>7"},
      // FMT with each kind of argument
      {"unsigned long", "<big FMT='%lx'>", "ee6b2800"},
      {"long", "<neg FMT='%+ld'>", "-5"},
      {"unsigned int", "<u FMT='%03u'>", "009"},
      {"double", "<ratio FMT='%.1f'>", "2.5"},
      {"string", "<name FMT='%-6s'>|", "disk  |"},
      {"time", "<when FMT='%Y'>", "2024"},
      {"default formats", "<big> <neg> <u> <ratio> <name>", "4000000000 -5 9 2.500000 disk"},
      {"output before an error stays", "ok <count> &bad; <name>", "ok 7  disk"},
  };
  C_Text text;
  text.AddArg("count", 7);
  text.AddArg("name", std::string("disk"));
  text.AddArg("big", 4000000000ul);
  text.AddArg("neg", -5l);
  text.AddArg("u", 9u);
  text.AddArg("ratio", 2.5);
  text.AddArg("a.b-c:d_e", 1);
  text.AddArg("when", C_Time(1719835200));  // 2024-07-01 12:00 UTC: 2024 in every time zone
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(Local::Format::printf(c.templ, text), c.expected);
  }
}

}  // namespace
