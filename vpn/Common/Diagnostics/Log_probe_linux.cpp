// A program for HostLogger_linux_test.cpp: it logs from a static object's making, from main() and from
// that object's end, and does nothing else.

#include "vpn/Common/Diagnostics/Log.h"

namespace {

class Bystander {
 public:
  Bystander() { LOG_MESSAGE(halvo::kLogInformation, "static object made"); }
  ~Bystander() { LOG_MESSAGE(halvo::kLogWarning, "static object gone"); }
  Bystander(const Bystander&) = delete;
  Bystander& operator=(const Bystander&) = delete;
};

Bystander s_bystander;

}  // namespace

int main() {
  LOG_RETURN_CODE(halvo::kLogError, "probe", halvo::TOLMENGINE_ERROR_INTERNAL);
  return 0;
}
