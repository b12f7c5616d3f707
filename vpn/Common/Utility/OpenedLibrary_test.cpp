#include "vpn/Common/Utility/OpenedLibrary.h"

#include <gtest/gtest.h>

#include <cmath>

namespace halvo {
namespace {

// Part of the C library on every Linux, under a name of its own.
constexpr char kMathLibrary[] = "libm.so.6";

using Cosine = double(double);

TEST(OpenedLibraryTest, FunctionOfTheLibraryIsFoundAndWorks) {
  Cosine* cosine = nullptr;
  ASSERT_TRUE(OpenedLibrary(kMathLibrary).find("cos", cosine));
  EXPECT_DOUBLE_EQ(cosine(0.0), 1.0);
}

TEST(OpenedLibraryTest, FunctionThatTheLibraryLacksIsNull) {
  Cosine* cosine = std::cos;
  EXPECT_FALSE(OpenedLibrary(kMathLibrary).find("no_such_cosine", cosine));
  EXPECT_EQ(cosine, nullptr);
}

TEST(OpenedLibraryTest, LibraryThatIsNotThereHasNoFunctions) {
  const OpenedLibrary missing("libtolm_no_such_library.so.1");
  Cosine* cosine = std::cos;
  // Also one that the program itself has.
  EXPECT_FALSE(missing.find("cos", cosine));
  EXPECT_EQ(cosine, nullptr);
}

}  // namespace
}  // namespace halvo
