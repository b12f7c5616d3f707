#include "vpn/Common/Diagnostics/ResultCodes.h"

#include <array>
#include <atomic>
#include <iterator>

namespace halvo {

namespace {

// The ten rows that every module starts with. The code of a row is its position in the block.
#define COMMON_ROWS(MODULE)                                                                         \
#MODULE "_SUCCESS", #MODULE "_ERROR_NOT_IMPLEMENTED", #MODULE "_ERROR_BAD_PARAMETER",             \
      #MODULE "_ERROR_BAD_HANDLE", #MODULE "_ERROR_MEMALLOC_FAILED", #MODULE "_ERROR_NULL_POINTER", \
      #MODULE "_ERROR_INSUFFICIENT_BUFFER", #MODULE "_ERROR_NOT_INITIALIZED",                       \
      #MODULE "_ERROR_ALREADY_INITIALIZED", #MODULE "_ERROR_UNEXPECTED"

constexpr const char* kGlobalRows[] = {
    COMMON_ROWS(GLOBAL),
    "GLOBAL_ERROR_NO_INSTANCE",
    "GLOBAL_ERROR_MGMT_TUNNEL_TERMINATING:used by Agent to signal to user tunnel Downloader that start",
    "GLOBAL_ERROR_UNKNOWN",
};

constexpr const char* kEventRows[] = {
    COMMON_ROWS(EVENT),
    "EVENT_ERROR_NO_CALLBACK:An operation requiring an event callback was attempted on an event without a "
    "callback.",
    "EVENT_ERROR_EVENT_IS_ALREADY_ON_A_LIST:Attempted to place an event on an event list while it was "
    "already on an event list.",
    "EVENT_ERROR_WAIT_TIMEOUT:A wait on an event or a list of events timed out.",
    "EVENT_ERROR_WAIT_FAILED:A wait on an event or a list of events failed.",
    "EVENT_ERROR_DUPLICATE_FAILED:An attempt to duplicate an event's OS handle failed.",
    "EVENT_ERROR_CREATE_FAILED:An attempt to create an event's OS handle failed.",
    "EVENT_ERROR_SET_FAILED:An attempt to set an event's signaled state failed.",
    "EVENT_ERROR_RESET_FAILED:An attempt to reset an event's signaled state failed.",
    "EVENT_ERROR_EVENT_TYPE_INVALID_FOR_LISTS:Attempted to place an event, with an event type that is not "
    "valid for lists, on an event list.",
    "EVENT_ERROR_UNKNOWN",
};

constexpr const char* kProcessApiRows[] = {
    COMMON_ROWS(PROCESS_API),
    "PROCESS_API_ERROR_NOTRUNNING",
    "PROCESS_API_ERROR_FILENOTFOUND",
    "PROCESS_API_ERROR_PATHNOTFOUND",
    "PROCESS_API_ERROR_INVALIDPROCESSID",
    "PROCESS_API_ERROR_PROCESS_ABORTED",
    "PROCESS_API_ERROR_NOPROCSLOTS",
    "PROCESS_API_ERROR_FAILEDOPENPIDFILE",
    "PROCESS_API_ERROR_PIDFILELOCKED",
    "PROCESS_API_ERROR_GETSYSDIR",
    "PROCESS_API_ERROR_TRUSTDLL_LOAD_FAIL",
    "PROCESS_API_ERROR_TRUSTFUNC_LOAD_FAIL",
    "PROCESS_API_ERROR_TRUSTPROV_UNKOWN",
    "PROCESS_API_ERROR_SUBJ_UNTRUST",
    "PROCESS_API_ERROR_NO_SIG",
    "PROCESS_API_ERROR_CERT_EXPIRE",
    "PROCESS_API_ERROR_UNTRUSTED_ROOT",
    "PROCESS_API_ERROR_CERT_REVOKED",
    "PROCESS_API_ERROR_UNTRUSTEDCA",
    "PROCESS_API_ERROR_WRONG_USE",
    "PROCESS_API_ERROR_ISSUERCHAINING",
    "PROCESS_API_ERROR_TRUST",
    "PROCESS_API_ERROR_UNTRUSTED_SIGNER",
    "PROCESS_API_ERROR_QUERY_OBJECT",
    "PROCESS_API_ERROR_MSG_GET_PARAM",
    "PROCESS_API_ERROR_MSG_GET_PARAM2",
    "PROCESS_API_ERROR_FIND_CERT",
    "PROCESS_API_ERROR_GET_NAME",
    "PROCESS_API_ERROR_OUT_OF_MEMORY",
    "PROCESS_API_ERROR_NO_USER_TOKEN",
    "PROCESS_API_ERROR_WINSECAPI_INSTANCE_FAILED",
    "PROCESS_API_ERROR_NO_CREATEASUSER_PROC",
    "PROCESS_API_ERROR_NO_CREATEASUSER_LIB",
    "PROCESS_API_ERROR_GET_THREAD_PRIORITY_FAILED",
    "PROCESS_API_ERROR_SET_THREAD_PRIORITY_FAILED",
    "PROCESS_API_ERROR_WAIT_INTERRUPTED",
    "PROCESS_API_ERROR_WAIT_TIMEOUT",
    "PROCESS_API_ERROR_USER_ADD_FAILED",
    "PROCESS_API_ERROR_USER_SET_PASSWORD_FAILED",
    "PROCESS_API_ERROR_USER_DELETE_FAILED",
    "PROCESS_API_ERROR_USER_NOT_FOUND",
    "PROCESS_API_ERROR_CREATE_THSNAPSHOT_FAILED",
    "PROCESS_API_ERROR_OPEN_PROCESS_FAILED",
    "PROCESS_API_ERROR_GET_PROCESS_NAME_FAILED",
    "PROCESS_API_ERROR_PROCESS_NOT_FOUND",
    "PROCESS_API_ERROR_UNKNOWN",
};

constexpr const char* kThreadRows[] = {
    COMMON_ROWS(THREAD),
    "THREAD_ERROR_CREATE_FAILED",
    "THREAD_ERROR_INVALID_STACK_SIZE",
    "THREAD_ERROR_INVALID_CALLER",
    "THREAD_ERROR_INVALID_STATE",
    "THREAD_ERROR_POSIX_JOIN_FAILED",
    "THREAD_ERROR_WIN_GET_EXIT_CODE_THREAD_FAILED",
    "THREAD_ERROR_WIN_WAIT_FAILED",
    "THREAD_ERROR_WIN_WAIT_TIMEOUT",
    "THREAD_ERROR_COM_INIT_FAILED",
    "THREAD_ERROR_UNKNOWN",
};

constexpr const char* kDirectoryRows[] = {
    COMMON_ROWS(DIRECTORY),
    "DIRECTORY_ERROR_DIRECTORY_NOT_SPECIFIED",
    "DIRECTORY_ERROR_DIRECTORY_NOT_FOUND",
    "DIRECTORY_ERROR_NO_MORE_FILES",
    "DIRECTORY_ERROR_FAILED_TO_CREATE_DIR",
    "DIRECTORY_ERROR_DIRECTORY_ALREADY_EXISTS",
    "DIRECTORY_ERROR_UNKNOWN",
};

constexpr const char* kEventlistRows[] = {
    COMMON_ROWS(EVENTLIST),
    "EVENTLIST_ERROR_LIMIT_EXCEEDED:The maximum number of events an event list can support has been "
    "exceeded.",
    "EVENTLIST_ERROR_EVENT_NOT_FOUND:A list was searched for a specific event and was not found.",
    "EVENTLIST_ERROR_BAD_EVENT_PIPE:The event's data structure does not contain a valid OS pipe handle.",
    "EVENTLIST_ERROR_BAD_EVENT_HANDLE_TYPE:The event's data structure does not contain a valid OS handle "
    "type specifier.",
    "EVENTLIST_ERROR_UNKNOWN",
};

constexpr const char* kCstoragepathRows[] = {
    COMMON_ROWS(CSTORAGEPATH),
    "CSTORAGEPATH_ERROR_NO_INSTANCE",
    "CSTORAGEPATH_ERROR_GETTEMPPATH_FAILED",
    "CSTORAGEPATH_ERROR_TEMPPATH_TOO_BIG",
    "CSTORAGEPATH_ERROR_UNKNOWN",
};

constexpr const char* kTolmengineRows[] = {
    COMMON_ROWS(TOLMENGINE),
    "TOLMENGINE_ERROR_INTERNAL:Error: TOLM encountered an unspecified internal error",
    "TOLMENGINE_ERROR_WRITE_FAILURE:Error: Failed to write to file",
    "TOLMENGINE_ERROR_FILE_NOT_FOUND:Error: File not found",
    "TOLMENGINE_ERROR_FILE_OPEN_FAILURE:Error: File could not be opened",
    "TOLMENGINE_ERROR_ACCESS_DENIED:Error: Access denied",
    "TOLMENGINE_ERROR_NULL_XML_ROOT:Error: XML configuration tree root is NULL",
    "TOLMENGINE_ERROR_NULL_XML_CHILD:Error: XML configuration tree child is NULL",
    "TOLMENGINE_ERROR_INVALID_XML:Error: Encountered invalid XML configuration tree",
    "TOLMENGINE_ERROR_UNKNOWN_XML_TAG:Error: Encountered unknown XML configuration tag",
    "TOLMENGINE_ERROR_ACTION_CANCELED_BY_USER:Notice: Action canceled by user",
    "TOLMENGINE_ERROR_UNKNOWN",
};

constexpr const char* kTolmofflineRows[] = {
    COMMON_ROWS(TOLMOFFLINE),
    "TOLMOFFLINE_ERROR_INTERNAL:Error: TOLM GUI encounted an unspecified internal error",
    "TOLMOFFLINE_ERROR_PROCESSING:Notice: TOLM GUI is processing...",
    "TOLMOFFLINE_ERROR_XML_CONFIG_PARSE_SUCCESS:Notice: Successfully parsed XML configuration",
    "TOLMOFFLINE_ERROR_XML_REQUEST_GENERATE_SUCCESS:Notice: Successfully generated request XML",
    "TOLMOFFLINE_ERROR_UNKNOWN",
};

#undef COMMON_ROWS

constexpr const char* kReservedRows[] = {"DUMMY_ERROR_NOT_IMPLEMENTED"};

// Numbers that stay reserved; they share one block.
constexpr std::uint32_t kReservedModules[] = {111, 125, 133, 134, 135, 136, 193, 194, 195, 196, 198};

template <std::size_t N>
constexpr ResultCodeBlock block(const char* const (&rows)[N]) {
  return {static_cast<std::uint32_t>(N), rows};
}

// The modules of the suite's other programs keep their number and have no block here.
constexpr std::array<ResultCodeBlock, kResultCodeModuleCount> makeModules() {
  std::array<ResultCodeBlock, kResultCodeModuleCount> modules{};
  for (const std::uint32_t number : kReservedModules) {
    modules[number] = block(kReservedRows);
  }
  modules[0x00] = block(kGlobalRows);
  modules[0x01] = block(kEventRows);
  modules[0x2b] = block(kProcessApiRows);
  modules[0x34] = block(kThreadRows);
  modules[0x58] = block(kDirectoryRows);
  modules[0x8b] = block(kEventlistRows);
  modules[0x9d] = block(kCstoragepathRows);
  modules[0xaf] = block(kTolmengineRows);
  modules[0xb0] = block(kTolmofflineRows);
  return modules;
}

constexpr std::array<ResultCodeBlock, kResultCodeModuleCount> kModules = makeModules();

// What findResultCodeRow() reads without a lock; empty until logging starts, which stores the same
// values again at every later start.
constinit std::atomic<const ResultCodeBlock*> s_pModules{nullptr};
constinit std::atomic<std::uint32_t> s_nModules{0};

}  // namespace

const ResultCodeBlock* resultCodeModules() {
  return kModules.data();
}

void registerResultCodeModules(const ResultCodeBlock* modules, std::uint32_t count) {
  s_pModules.store(modules, std::memory_order_relaxed);
  s_nModules.store(count, std::memory_order_release);
}

const char* findResultCodeRow(ResultCode code) {
  // The count comes first: where it is seen, the table is too.
  const std::uint32_t modules = s_nModules.load(std::memory_order_acquire);
  const ResultCodeBlock* const table = s_pModules.load(std::memory_order_relaxed);
  if (code < kFirstTableCode || modules == 0 || table == nullptr) {
    return nullptr;
  }
  // The top byte has said all it says: 0xff reads as 0xfe.
  const std::uint32_t module = (code >> 16) & 0xff;
  if (module >= modules || table[module].rows == nullptr || table[module].count == 0) {
    return nullptr;
  }
  const ResultCodeBlock& block = table[module];
  const std::uint32_t row = code & 0xffff;
  if (row < block.count && block.rows[row] != nullptr) {
    return block.rows[row];
  }
  return block.rows[block.count - 1];
}

}  // namespace halvo
