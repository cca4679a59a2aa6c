// Numbers on the command line.
#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include <stack/forms/Malformed.h>
#include <stack/forms/Number.h>

namespace Quarnix::Hevra::Stack::Forms {
namespace {

TEST(Number, IsDecimalOrHexadecimalAndInRange) {
  EXPECT_EQ(readNumber("", "010", 10), 10U);
  EXPECT_EQ(readNumber("", "0xfF", 255), 255U);
  EXPECT_EQ(readNumber("", "18446744073709551615", UINT64_MAX), UINT64_MAX);
  for (const char* text : {"", "-1", "+1", " 1", "1 ", "0x", "0x-1", "ff", "1.0", "256", "18446744073709551616"}) {
    try {
      readNumber("--pace", text, 255);
      ADD_FAILURE() << text << " was accepted";
    } catch (const Malformed& error) {
      EXPECT_EQ(error.what(), "--pace: '" + std::string(text) + "' given, expected a number from 0 to 255");
    }
  }
  EXPECT_EQ(readSigned("", "-2147483648"), INT32_MIN);
  EXPECT_EQ(readSigned("", "0x7fffffff"), INT32_MAX);
  for (const char* text : {"-", "--1", "-0x1", "-2147483649", "2147483648", "0xffffffff"})
    EXPECT_THROW(readSigned("--type", text), Malformed) << text;
  EXPECT_EQ(readRate("", "0.25"), 0.25);
  EXPECT_EQ(readRate("", "1"), 1.0);
  for (const char* text : {"", "-0.1", "1.01", "nan", "inf", "0,5", "50%"})
    EXPECT_THROW(readRate("--drop", text), Malformed) << text;
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Forms
