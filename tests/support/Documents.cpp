#include "tests/support/Documents.h"

namespace halvo::test {

const char* const kThisSystem = TOLM_TEST_SYSTEM;
const char* const kOtherSystem = TOLM_TEST_OTHER_SYSTEM;

}  // namespace halvo::test
