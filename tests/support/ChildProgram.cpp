#include "tests/support/ChildProgram.h"

namespace halvo::test {

std::string childProgram() {
  return std::string(TOLM_TEST_BUILD_DIR) + "/tests/childProgram";
}

}  // namespace halvo::test
