// The calls for encoded words from C, and the two with C++ linkage, through the shared library.
#include <qob3xapi/rfc1522.h>
#include <qob3xapi/util.h>

#include <gtest/gtest.h>

#include <string>

#include "support/temp_spool.h"

extern "C" {
int EncodesFromC(void);
int DecodesFromC(void);
}

namespace {

class Rfc1522Contract : public ::testing::Test {
 protected:
  Rfc1522Contract() { spool_.SetWholeIni("[Gateway]\nLocalCharSet=ISO-8859-1\n"); }
  qob::testing::TempSpool spool_;
};

TEST_F(Rfc1522Contract, EncodesFromC) { EXPECT_EQ(EncodesFromC(), 1); }

TEST_F(Rfc1522Contract, DecodesFromC) { EXPECT_EQ(DecodesFromC(), 1); }

TEST_F(Rfc1522Contract, KeepsCppLinkageOfTheFreeTextCalls) {
  char* (*encode)(char*) = &rfc1522encoding2;
  char* (*encode_wmc)(char*, char*) = &rfc1522encoding2_wmc;
  char text[] = "\xFC (c)";
  char charset[] = "x";
  char* result = encode(text);
  EXPECT_STREQ(result, "=?ISO-8859-1?Q?=FC?= (c)");
  FreeString(result);
  result = encode_wmc(text, charset);
  EXPECT_STREQ(result, "=?x?B?/A==?=(c)");
  FreeString(result);
}

}  // namespace
