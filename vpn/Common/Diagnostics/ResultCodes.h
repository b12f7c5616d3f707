// Result codes: the 32-bit outcome that every operation of the system that can fail returns.
//
// Zero is success. Every other code made here is 0xfe, a module byte and the 16-bit index of the
// code's row in the module's block: see ResultCodes.cpp for the rows, which are read only when a
// code is written to the log. The logic compares codes with the constants below as plain numbers.
//
// A value below 0xfe000000 is no table code. Such values reach the log as numbers of the operating
// system (an errno, a status) and have no row.
//
// Everything here is constant data and may be used on any thread.

#pragma once

#include <cstddef>
#include <cstdint>

namespace halvo {

using ResultCode = std::uint32_t;

// The smallest value that is looked up in the table.
inline constexpr ResultCode kFirstTableCode = 0xfe000000;

// One module's rows. `rows` may be null, then `count` is 0.
struct ResultCodeBlock {
  std::uint32_t count;
  const char* const* rows;
};

inline constexpr std::uint32_t kResultCodeModuleCount = 224;

// The table of `kResultCodeModuleCount` blocks, indexed by module number.
const ResultCodeBlock* resultCodeModules();

// Stores the table that findResultCodeRow() reads. Called when logging starts, under its lock; until
// then no code has a row. There is no way to take a registration back.
void registerResultCodeModules(const ResultCodeBlock* modules, std::uint32_t count);

// Returns the row of `code` ("NAME" or "NAME:description"), or null where it has none: a value below
// 0xfe000000, a module number without a block, or nothing registered. A code past the end of its
// block yields the block's last row. Never fails, never allocates.
const char* findResultCodeRow(ResultCode code);

// GLOBAL
inline constexpr ResultCode GLOBAL_ERROR_NOT_IMPLEMENTED = 0xfe000001;
inline constexpr ResultCode GLOBAL_ERROR_BAD_PARAMETER = 0xfe000002;
inline constexpr ResultCode GLOBAL_ERROR_BAD_HANDLE = 0xfe000003;
inline constexpr ResultCode GLOBAL_ERROR_MEMALLOC_FAILED = 0xfe000004;
inline constexpr ResultCode GLOBAL_ERROR_NULL_POINTER = 0xfe000005;
inline constexpr ResultCode GLOBAL_ERROR_INSUFFICIENT_BUFFER = 0xfe000006;
inline constexpr ResultCode GLOBAL_ERROR_NOT_INITIALIZED = 0xfe000007;
inline constexpr ResultCode GLOBAL_ERROR_ALREADY_INITIALIZED = 0xfe000008;
inline constexpr ResultCode GLOBAL_ERROR_UNEXPECTED = 0xfe000009;
inline constexpr ResultCode GLOBAL_ERROR_NO_INSTANCE = 0xfe00000a;
inline constexpr ResultCode GLOBAL_ERROR_MGMT_TUNNEL_TERMINATING = 0xfe00000b;
inline constexpr ResultCode GLOBAL_ERROR_UNKNOWN = 0xfe00000c;

// EVENT
inline constexpr ResultCode EVENT_ERROR_NOT_IMPLEMENTED = 0xfe010001;
inline constexpr ResultCode EVENT_ERROR_BAD_PARAMETER = 0xfe010002;
inline constexpr ResultCode EVENT_ERROR_BAD_HANDLE = 0xfe010003;
inline constexpr ResultCode EVENT_ERROR_MEMALLOC_FAILED = 0xfe010004;
inline constexpr ResultCode EVENT_ERROR_NULL_POINTER = 0xfe010005;
inline constexpr ResultCode EVENT_ERROR_INSUFFICIENT_BUFFER = 0xfe010006;
inline constexpr ResultCode EVENT_ERROR_NOT_INITIALIZED = 0xfe010007;
inline constexpr ResultCode EVENT_ERROR_ALREADY_INITIALIZED = 0xfe010008;
inline constexpr ResultCode EVENT_ERROR_UNEXPECTED = 0xfe010009;
inline constexpr ResultCode EVENT_ERROR_NO_CALLBACK = 0xfe01000a;
inline constexpr ResultCode EVENT_ERROR_EVENT_IS_ALREADY_ON_A_LIST = 0xfe01000b;
inline constexpr ResultCode EVENT_ERROR_WAIT_TIMEOUT = 0xfe01000c;
inline constexpr ResultCode EVENT_ERROR_WAIT_FAILED = 0xfe01000d;
inline constexpr ResultCode EVENT_ERROR_DUPLICATE_FAILED = 0xfe01000e;
inline constexpr ResultCode EVENT_ERROR_CREATE_FAILED = 0xfe01000f;
inline constexpr ResultCode EVENT_ERROR_SET_FAILED = 0xfe010010;
inline constexpr ResultCode EVENT_ERROR_RESET_FAILED = 0xfe010011;
inline constexpr ResultCode EVENT_ERROR_EVENT_TYPE_INVALID_FOR_LISTS = 0xfe010012;
inline constexpr ResultCode EVENT_ERROR_UNKNOWN = 0xfe010013;

// PROCESS_API
inline constexpr ResultCode PROCESS_API_ERROR_NOT_IMPLEMENTED = 0xfe2b0001;
inline constexpr ResultCode PROCESS_API_ERROR_BAD_PARAMETER = 0xfe2b0002;
inline constexpr ResultCode PROCESS_API_ERROR_BAD_HANDLE = 0xfe2b0003;
inline constexpr ResultCode PROCESS_API_ERROR_MEMALLOC_FAILED = 0xfe2b0004;
inline constexpr ResultCode PROCESS_API_ERROR_NULL_POINTER = 0xfe2b0005;
inline constexpr ResultCode PROCESS_API_ERROR_INSUFFICIENT_BUFFER = 0xfe2b0006;
inline constexpr ResultCode PROCESS_API_ERROR_NOT_INITIALIZED = 0xfe2b0007;
inline constexpr ResultCode PROCESS_API_ERROR_ALREADY_INITIALIZED = 0xfe2b0008;
inline constexpr ResultCode PROCESS_API_ERROR_UNEXPECTED = 0xfe2b0009;
inline constexpr ResultCode PROCESS_API_ERROR_NOTRUNNING = 0xfe2b000a;
inline constexpr ResultCode PROCESS_API_ERROR_FILENOTFOUND = 0xfe2b000b;
inline constexpr ResultCode PROCESS_API_ERROR_PATHNOTFOUND = 0xfe2b000c;
inline constexpr ResultCode PROCESS_API_ERROR_INVALIDPROCESSID = 0xfe2b000d;
inline constexpr ResultCode PROCESS_API_ERROR_PROCESS_ABORTED = 0xfe2b000e;
inline constexpr ResultCode PROCESS_API_ERROR_NOPROCSLOTS = 0xfe2b000f;
inline constexpr ResultCode PROCESS_API_ERROR_FAILEDOPENPIDFILE = 0xfe2b0010;
inline constexpr ResultCode PROCESS_API_ERROR_PIDFILELOCKED = 0xfe2b0011;
inline constexpr ResultCode PROCESS_API_ERROR_GETSYSDIR = 0xfe2b0012;
inline constexpr ResultCode PROCESS_API_ERROR_TRUSTDLL_LOAD_FAIL = 0xfe2b0013;
inline constexpr ResultCode PROCESS_API_ERROR_TRUSTFUNC_LOAD_FAIL = 0xfe2b0014;
inline constexpr ResultCode PROCESS_API_ERROR_TRUSTPROV_UNKOWN = 0xfe2b0015;
inline constexpr ResultCode PROCESS_API_ERROR_SUBJ_UNTRUST = 0xfe2b0016;
inline constexpr ResultCode PROCESS_API_ERROR_NO_SIG = 0xfe2b0017;
inline constexpr ResultCode PROCESS_API_ERROR_CERT_EXPIRE = 0xfe2b0018;
inline constexpr ResultCode PROCESS_API_ERROR_UNTRUSTED_ROOT = 0xfe2b0019;
inline constexpr ResultCode PROCESS_API_ERROR_CERT_REVOKED = 0xfe2b001a;
inline constexpr ResultCode PROCESS_API_ERROR_UNTRUSTEDCA = 0xfe2b001b;
inline constexpr ResultCode PROCESS_API_ERROR_WRONG_USE = 0xfe2b001c;
inline constexpr ResultCode PROCESS_API_ERROR_ISSUERCHAINING = 0xfe2b001d;
inline constexpr ResultCode PROCESS_API_ERROR_TRUST = 0xfe2b001e;
inline constexpr ResultCode PROCESS_API_ERROR_UNTRUSTED_SIGNER = 0xfe2b001f;
inline constexpr ResultCode PROCESS_API_ERROR_QUERY_OBJECT = 0xfe2b0020;
inline constexpr ResultCode PROCESS_API_ERROR_MSG_GET_PARAM = 0xfe2b0021;
inline constexpr ResultCode PROCESS_API_ERROR_MSG_GET_PARAM2 = 0xfe2b0022;
inline constexpr ResultCode PROCESS_API_ERROR_FIND_CERT = 0xfe2b0023;
inline constexpr ResultCode PROCESS_API_ERROR_GET_NAME = 0xfe2b0024;
inline constexpr ResultCode PROCESS_API_ERROR_OUT_OF_MEMORY = 0xfe2b0025;
inline constexpr ResultCode PROCESS_API_ERROR_NO_USER_TOKEN = 0xfe2b0026;
inline constexpr ResultCode PROCESS_API_ERROR_WINSECAPI_INSTANCE_FAILED = 0xfe2b0027;
inline constexpr ResultCode PROCESS_API_ERROR_NO_CREATEASUSER_PROC = 0xfe2b0028;
inline constexpr ResultCode PROCESS_API_ERROR_NO_CREATEASUSER_LIB = 0xfe2b0029;
inline constexpr ResultCode PROCESS_API_ERROR_GET_THREAD_PRIORITY_FAILED = 0xfe2b002a;
inline constexpr ResultCode PROCESS_API_ERROR_SET_THREAD_PRIORITY_FAILED = 0xfe2b002b;
inline constexpr ResultCode PROCESS_API_ERROR_WAIT_INTERRUPTED = 0xfe2b002c;
inline constexpr ResultCode PROCESS_API_ERROR_WAIT_TIMEOUT = 0xfe2b002d;
inline constexpr ResultCode PROCESS_API_ERROR_USER_ADD_FAILED = 0xfe2b002e;
inline constexpr ResultCode PROCESS_API_ERROR_USER_SET_PASSWORD_FAILED = 0xfe2b002f;
inline constexpr ResultCode PROCESS_API_ERROR_USER_DELETE_FAILED = 0xfe2b0030;
inline constexpr ResultCode PROCESS_API_ERROR_USER_NOT_FOUND = 0xfe2b0031;
inline constexpr ResultCode PROCESS_API_ERROR_CREATE_THSNAPSHOT_FAILED = 0xfe2b0032;
inline constexpr ResultCode PROCESS_API_ERROR_OPEN_PROCESS_FAILED = 0xfe2b0033;
inline constexpr ResultCode PROCESS_API_ERROR_GET_PROCESS_NAME_FAILED = 0xfe2b0034;
inline constexpr ResultCode PROCESS_API_ERROR_PROCESS_NOT_FOUND = 0xfe2b0035;
inline constexpr ResultCode PROCESS_API_ERROR_UNKNOWN = 0xfe2b0036;

// THREAD
inline constexpr ResultCode THREAD_ERROR_NOT_IMPLEMENTED = 0xfe340001;
inline constexpr ResultCode THREAD_ERROR_BAD_PARAMETER = 0xfe340002;
inline constexpr ResultCode THREAD_ERROR_BAD_HANDLE = 0xfe340003;
inline constexpr ResultCode THREAD_ERROR_MEMALLOC_FAILED = 0xfe340004;
inline constexpr ResultCode THREAD_ERROR_NULL_POINTER = 0xfe340005;
inline constexpr ResultCode THREAD_ERROR_INSUFFICIENT_BUFFER = 0xfe340006;
inline constexpr ResultCode THREAD_ERROR_NOT_INITIALIZED = 0xfe340007;
inline constexpr ResultCode THREAD_ERROR_ALREADY_INITIALIZED = 0xfe340008;
inline constexpr ResultCode THREAD_ERROR_UNEXPECTED = 0xfe340009;
inline constexpr ResultCode THREAD_ERROR_CREATE_FAILED = 0xfe34000a;
inline constexpr ResultCode THREAD_ERROR_INVALID_STACK_SIZE = 0xfe34000b;
inline constexpr ResultCode THREAD_ERROR_INVALID_CALLER = 0xfe34000c;
inline constexpr ResultCode THREAD_ERROR_INVALID_STATE = 0xfe34000d;
inline constexpr ResultCode THREAD_ERROR_POSIX_JOIN_FAILED = 0xfe34000e;
inline constexpr ResultCode THREAD_ERROR_WIN_GET_EXIT_CODE_THREAD_FAILED = 0xfe34000f;
inline constexpr ResultCode THREAD_ERROR_WIN_WAIT_FAILED = 0xfe340010;
inline constexpr ResultCode THREAD_ERROR_WIN_WAIT_TIMEOUT = 0xfe340011;
inline constexpr ResultCode THREAD_ERROR_COM_INIT_FAILED = 0xfe340012;
inline constexpr ResultCode THREAD_ERROR_UNKNOWN = 0xfe340013;

// DIRECTORY
inline constexpr ResultCode DIRECTORY_ERROR_NOT_IMPLEMENTED = 0xfe580001;
inline constexpr ResultCode DIRECTORY_ERROR_BAD_PARAMETER = 0xfe580002;
inline constexpr ResultCode DIRECTORY_ERROR_BAD_HANDLE = 0xfe580003;
inline constexpr ResultCode DIRECTORY_ERROR_MEMALLOC_FAILED = 0xfe580004;
inline constexpr ResultCode DIRECTORY_ERROR_NULL_POINTER = 0xfe580005;
inline constexpr ResultCode DIRECTORY_ERROR_INSUFFICIENT_BUFFER = 0xfe580006;
inline constexpr ResultCode DIRECTORY_ERROR_NOT_INITIALIZED = 0xfe580007;
inline constexpr ResultCode DIRECTORY_ERROR_ALREADY_INITIALIZED = 0xfe580008;
inline constexpr ResultCode DIRECTORY_ERROR_UNEXPECTED = 0xfe580009;
inline constexpr ResultCode DIRECTORY_ERROR_DIRECTORY_NOT_SPECIFIED = 0xfe58000a;
inline constexpr ResultCode DIRECTORY_ERROR_DIRECTORY_NOT_FOUND = 0xfe58000b;
inline constexpr ResultCode DIRECTORY_ERROR_NO_MORE_FILES = 0xfe58000c;
inline constexpr ResultCode DIRECTORY_ERROR_FAILED_TO_CREATE_DIR = 0xfe58000d;
inline constexpr ResultCode DIRECTORY_ERROR_DIRECTORY_ALREADY_EXISTS = 0xfe58000e;
inline constexpr ResultCode DIRECTORY_ERROR_UNKNOWN = 0xfe58000f;

// EVENTLIST
inline constexpr ResultCode EVENTLIST_ERROR_NOT_IMPLEMENTED = 0xfe8b0001;
inline constexpr ResultCode EVENTLIST_ERROR_BAD_PARAMETER = 0xfe8b0002;
inline constexpr ResultCode EVENTLIST_ERROR_BAD_HANDLE = 0xfe8b0003;
inline constexpr ResultCode EVENTLIST_ERROR_MEMALLOC_FAILED = 0xfe8b0004;
inline constexpr ResultCode EVENTLIST_ERROR_NULL_POINTER = 0xfe8b0005;
inline constexpr ResultCode EVENTLIST_ERROR_INSUFFICIENT_BUFFER = 0xfe8b0006;
inline constexpr ResultCode EVENTLIST_ERROR_NOT_INITIALIZED = 0xfe8b0007;
inline constexpr ResultCode EVENTLIST_ERROR_ALREADY_INITIALIZED = 0xfe8b0008;
inline constexpr ResultCode EVENTLIST_ERROR_UNEXPECTED = 0xfe8b0009;
inline constexpr ResultCode EVENTLIST_ERROR_LIMIT_EXCEEDED = 0xfe8b000a;
inline constexpr ResultCode EVENTLIST_ERROR_EVENT_NOT_FOUND = 0xfe8b000b;
inline constexpr ResultCode EVENTLIST_ERROR_BAD_EVENT_PIPE = 0xfe8b000c;
inline constexpr ResultCode EVENTLIST_ERROR_BAD_EVENT_HANDLE_TYPE = 0xfe8b000d;
inline constexpr ResultCode EVENTLIST_ERROR_UNKNOWN = 0xfe8b000e;

// CSTORAGEPATH
inline constexpr ResultCode CSTORAGEPATH_ERROR_NOT_IMPLEMENTED = 0xfe9d0001;
inline constexpr ResultCode CSTORAGEPATH_ERROR_BAD_PARAMETER = 0xfe9d0002;
inline constexpr ResultCode CSTORAGEPATH_ERROR_BAD_HANDLE = 0xfe9d0003;
inline constexpr ResultCode CSTORAGEPATH_ERROR_MEMALLOC_FAILED = 0xfe9d0004;
inline constexpr ResultCode CSTORAGEPATH_ERROR_NULL_POINTER = 0xfe9d0005;
inline constexpr ResultCode CSTORAGEPATH_ERROR_INSUFFICIENT_BUFFER = 0xfe9d0006;
inline constexpr ResultCode CSTORAGEPATH_ERROR_NOT_INITIALIZED = 0xfe9d0007;
inline constexpr ResultCode CSTORAGEPATH_ERROR_ALREADY_INITIALIZED = 0xfe9d0008;
inline constexpr ResultCode CSTORAGEPATH_ERROR_UNEXPECTED = 0xfe9d0009;
inline constexpr ResultCode CSTORAGEPATH_ERROR_NO_INSTANCE = 0xfe9d000a;
inline constexpr ResultCode CSTORAGEPATH_ERROR_GETTEMPPATH_FAILED = 0xfe9d000b;
inline constexpr ResultCode CSTORAGEPATH_ERROR_TEMPPATH_TOO_BIG = 0xfe9d000c;
inline constexpr ResultCode CSTORAGEPATH_ERROR_UNKNOWN = 0xfe9d000d;

// TOLMENGINE
inline constexpr ResultCode TOLMENGINE_ERROR_NOT_IMPLEMENTED = 0xfeaf0001;
inline constexpr ResultCode TOLMENGINE_ERROR_BAD_PARAMETER = 0xfeaf0002;
inline constexpr ResultCode TOLMENGINE_ERROR_BAD_HANDLE = 0xfeaf0003;
inline constexpr ResultCode TOLMENGINE_ERROR_MEMALLOC_FAILED = 0xfeaf0004;
inline constexpr ResultCode TOLMENGINE_ERROR_NULL_POINTER = 0xfeaf0005;
inline constexpr ResultCode TOLMENGINE_ERROR_INSUFFICIENT_BUFFER = 0xfeaf0006;
inline constexpr ResultCode TOLMENGINE_ERROR_NOT_INITIALIZED = 0xfeaf0007;
inline constexpr ResultCode TOLMENGINE_ERROR_ALREADY_INITIALIZED = 0xfeaf0008;
inline constexpr ResultCode TOLMENGINE_ERROR_UNEXPECTED = 0xfeaf0009;
inline constexpr ResultCode TOLMENGINE_ERROR_INTERNAL = 0xfeaf000a;
inline constexpr ResultCode TOLMENGINE_ERROR_WRITE_FAILURE = 0xfeaf000b;
inline constexpr ResultCode TOLMENGINE_ERROR_FILE_NOT_FOUND = 0xfeaf000c;
inline constexpr ResultCode TOLMENGINE_ERROR_FILE_OPEN_FAILURE = 0xfeaf000d;
inline constexpr ResultCode TOLMENGINE_ERROR_ACCESS_DENIED = 0xfeaf000e;
inline constexpr ResultCode TOLMENGINE_ERROR_NULL_XML_ROOT = 0xfeaf000f;
inline constexpr ResultCode TOLMENGINE_ERROR_NULL_XML_CHILD = 0xfeaf0010;
inline constexpr ResultCode TOLMENGINE_ERROR_INVALID_XML = 0xfeaf0011;
inline constexpr ResultCode TOLMENGINE_ERROR_UNKNOWN_XML_TAG = 0xfeaf0012;
inline constexpr ResultCode TOLMENGINE_ERROR_ACTION_CANCELED_BY_USER = 0xfeaf0013;
inline constexpr ResultCode TOLMENGINE_ERROR_UNKNOWN = 0xfeaf0014;

// TOLMOFFLINE
inline constexpr ResultCode TOLMOFFLINE_ERROR_NOT_IMPLEMENTED = 0xfeb00001;
inline constexpr ResultCode TOLMOFFLINE_ERROR_BAD_PARAMETER = 0xfeb00002;
inline constexpr ResultCode TOLMOFFLINE_ERROR_BAD_HANDLE = 0xfeb00003;
inline constexpr ResultCode TOLMOFFLINE_ERROR_MEMALLOC_FAILED = 0xfeb00004;
inline constexpr ResultCode TOLMOFFLINE_ERROR_NULL_POINTER = 0xfeb00005;
inline constexpr ResultCode TOLMOFFLINE_ERROR_INSUFFICIENT_BUFFER = 0xfeb00006;
inline constexpr ResultCode TOLMOFFLINE_ERROR_NOT_INITIALIZED = 0xfeb00007;
inline constexpr ResultCode TOLMOFFLINE_ERROR_ALREADY_INITIALIZED = 0xfeb00008;
inline constexpr ResultCode TOLMOFFLINE_ERROR_UNEXPECTED = 0xfeb00009;
inline constexpr ResultCode TOLMOFFLINE_ERROR_INTERNAL = 0xfeb0000a;
inline constexpr ResultCode TOLMOFFLINE_ERROR_PROCESSING = 0xfeb0000b;
inline constexpr ResultCode TOLMOFFLINE_ERROR_XML_CONFIG_PARSE_SUCCESS = 0xfeb0000c;
inline constexpr ResultCode TOLMOFFLINE_ERROR_XML_REQUEST_GENERATE_SUCCESS = 0xfeb0000d;
inline constexpr ResultCode TOLMOFFLINE_ERROR_UNKNOWN = 0xfeb0000e;

}  // namespace halvo
