// The process table over sysctl(3).

#include <sys/sysctl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "vpn/Common/Utility/sysutils.h"

namespace halvo {

namespace {

void convert(const kinfo_proc& record, BSDProcess& process) {
  process = {};
  process.pid = record.kp_proc.p_pid;
  process.realUserId = record.kp_eproc.e_pcred.p_ruid;
  process.state = static_cast<std::uint32_t>(static_cast<unsigned char>(record.kp_proc.p_stat));
  std::memcpy(process.command, record.kp_proc.p_comm,
              std::min(sizeof(process.command) - 1, sizeof(record.kp_proc.p_comm)));
}

class SysctlTable : public ProcessTable {
 public:
  int size(std::size_t& bytes) override {
    int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_ALL};
    std::size_t hostBytes = 0;
    if (sysctl(name, 3, nullptr, &hostBytes, nullptr, 0) != 0) {
      return errno;
    }
    // The host adds room for processes that start between the two looks.
    bytes = hostBytes / sizeof(kinfo_proc) * sizeof(BSDProcess);
    return 0;
  }

  int read(BSDProcess* records, std::size_t& bytes) override {
    int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_ALL};
    std::vector<kinfo_proc> host(bytes / sizeof(BSDProcess));
    std::size_t hostBytes = host.size() * sizeof(kinfo_proc);
    if (sysctl(name, 3, host.data(), &hostBytes, nullptr, 0) != 0) {
      return errno;
    }
    host.resize(hostBytes / sizeof(kinfo_proc));
    for (const kinfo_proc& record : host) {
      convert(record, *records);
      ++records;
    }
    bytes = host.size() * sizeof(BSDProcess);
    return 0;
  }
};

}  // namespace

ProcessTable& hostProcessTable() {
  static SysctlTable s_table;
  return s_table;
}

int readProcess(pid_t pid, BSDProcess& process) {
  process = {};
  int name[] = {CTL_KERN, KERN_PROC, KERN_PROC_PID, pid};
  kinfo_proc record = {};
  std::size_t bytes = sizeof(record);
  if (sysctl(name, 4, &record, &bytes, nullptr, 0) != 0) {
    return errno;
  }
  // No such process is a success without a record here.
  if (bytes == 0) {
    return ESRCH;
  }
  convert(record, process);
  return 0;
}

}  // namespace halvo
