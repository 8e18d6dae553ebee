#include "shell/errors.h"

#include <gtest/gtest.h>

#include <string>

namespace kelvo {
namespace {

TEST(KelvoErrorTest, AMessageIsTheClassNameAndTheStreamedText) {
  EXPECT_EQ(InvalidParameterError("x").message(), "InvalidParameterError: x");
  EXPECT_EQ((InternalError() << "a" << 1).message(), "InternalError: a1");
  EXPECT_EQ((ParserError("line ") << 3 << '!').message(), "ParserError: line 3!");
  EXPECT_STREQ(OutOfBoundsValue().what(), "OutOfBoundsValue: ");
  EXPECT_EQ(LtlEncoderError().exception_name(), "LtlEncoderError");
}

TEST(KelvoErrorTest, ACopyContinuesBehindTheTextOfItsSource) {
  InternalError source("one");
  source << " two";
  InternalError copy(source);
  copy << " three";
  EXPECT_EQ(copy.message(), "InternalError: one two three");
  EXPECT_EQ(copy.exception_name(), "InternalError");
  EXPECT_EQ(source.message(), "InternalError: one two");
}

TEST(KelvoErrorTest, AThrownChainKeepsItsClass) {
  try {
    throw UndefinedConstantError() << "f(" << 2 << ")";
  } catch (const InternalError&) {
    FAIL() << "caught as another class";
  } catch (const UndefinedConstantError& error) {
    EXPECT_STREQ(error.what(), "UndefinedConstantError: f(2)");
  }
}

}  // namespace
}  // namespace kelvo
