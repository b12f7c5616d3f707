#include "vpn/Common/Diagnostics/ResultCodes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <set>
#include <string>

#include "tests/support/ResultMatchers.h"

namespace halvo {
namespace {

struct NamedCode {
  const char* name;
  ResultCode code;
};

#define NAMED(CODE) \
  { #CODE, CODE }

// Every constant of the header.
constexpr NamedCode kConstants[] = {
    NAMED(GLOBAL_ERROR_NOT_IMPLEMENTED),
    NAMED(GLOBAL_ERROR_BAD_PARAMETER),
    NAMED(GLOBAL_ERROR_BAD_HANDLE),
    NAMED(GLOBAL_ERROR_MEMALLOC_FAILED),
    NAMED(GLOBAL_ERROR_NULL_POINTER),
    NAMED(GLOBAL_ERROR_INSUFFICIENT_BUFFER),
    NAMED(GLOBAL_ERROR_NOT_INITIALIZED),
    NAMED(GLOBAL_ERROR_ALREADY_INITIALIZED),
    NAMED(GLOBAL_ERROR_UNEXPECTED),
    NAMED(GLOBAL_ERROR_NO_INSTANCE),
    NAMED(GLOBAL_ERROR_MGMT_TUNNEL_TERMINATING),
    NAMED(GLOBAL_ERROR_UNKNOWN),
    NAMED(EVENT_ERROR_NOT_IMPLEMENTED),
    NAMED(EVENT_ERROR_BAD_PARAMETER),
    NAMED(EVENT_ERROR_BAD_HANDLE),
    NAMED(EVENT_ERROR_MEMALLOC_FAILED),
    NAMED(EVENT_ERROR_NULL_POINTER),
    NAMED(EVENT_ERROR_INSUFFICIENT_BUFFER),
    NAMED(EVENT_ERROR_NOT_INITIALIZED),
    NAMED(EVENT_ERROR_ALREADY_INITIALIZED),
    NAMED(EVENT_ERROR_UNEXPECTED),
    NAMED(EVENT_ERROR_NO_CALLBACK),
    NAMED(EVENT_ERROR_EVENT_IS_ALREADY_ON_A_LIST),
    NAMED(EVENT_ERROR_WAIT_TIMEOUT),
    NAMED(EVENT_ERROR_WAIT_FAILED),
    NAMED(EVENT_ERROR_DUPLICATE_FAILED),
    NAMED(EVENT_ERROR_CREATE_FAILED),
    NAMED(EVENT_ERROR_SET_FAILED),
    NAMED(EVENT_ERROR_RESET_FAILED),
    NAMED(EVENT_ERROR_EVENT_TYPE_INVALID_FOR_LISTS),
    NAMED(EVENT_ERROR_UNKNOWN),
    NAMED(PROCESS_API_ERROR_NOT_IMPLEMENTED),
    NAMED(PROCESS_API_ERROR_BAD_PARAMETER),
    NAMED(PROCESS_API_ERROR_BAD_HANDLE),
    NAMED(PROCESS_API_ERROR_MEMALLOC_FAILED),
    NAMED(PROCESS_API_ERROR_NULL_POINTER),
    NAMED(PROCESS_API_ERROR_INSUFFICIENT_BUFFER),
    NAMED(PROCESS_API_ERROR_NOT_INITIALIZED),
    NAMED(PROCESS_API_ERROR_ALREADY_INITIALIZED),
    NAMED(PROCESS_API_ERROR_UNEXPECTED),
    NAMED(PROCESS_API_ERROR_NOTRUNNING),
    NAMED(PROCESS_API_ERROR_FILENOTFOUND),
    NAMED(PROCESS_API_ERROR_PATHNOTFOUND),
    NAMED(PROCESS_API_ERROR_INVALIDPROCESSID),
    NAMED(PROCESS_API_ERROR_PROCESS_ABORTED),
    NAMED(PROCESS_API_ERROR_NOPROCSLOTS),
    NAMED(PROCESS_API_ERROR_FAILEDOPENPIDFILE),
    NAMED(PROCESS_API_ERROR_PIDFILELOCKED),
    NAMED(PROCESS_API_ERROR_GETSYSDIR),
    NAMED(PROCESS_API_ERROR_TRUSTDLL_LOAD_FAIL),
    NAMED(PROCESS_API_ERROR_TRUSTFUNC_LOAD_FAIL),
    NAMED(PROCESS_API_ERROR_TRUSTPROV_UNKOWN),
    NAMED(PROCESS_API_ERROR_SUBJ_UNTRUST),
    NAMED(PROCESS_API_ERROR_NO_SIG),
    NAMED(PROCESS_API_ERROR_CERT_EXPIRE),
    NAMED(PROCESS_API_ERROR_UNTRUSTED_ROOT),
    NAMED(PROCESS_API_ERROR_CERT_REVOKED),
    NAMED(PROCESS_API_ERROR_UNTRUSTEDCA),
    NAMED(PROCESS_API_ERROR_WRONG_USE),
    NAMED(PROCESS_API_ERROR_ISSUERCHAINING),
    NAMED(PROCESS_API_ERROR_TRUST),
    NAMED(PROCESS_API_ERROR_UNTRUSTED_SIGNER),
    NAMED(PROCESS_API_ERROR_QUERY_OBJECT),
    NAMED(PROCESS_API_ERROR_MSG_GET_PARAM),
    NAMED(PROCESS_API_ERROR_MSG_GET_PARAM2),
    NAMED(PROCESS_API_ERROR_FIND_CERT),
    NAMED(PROCESS_API_ERROR_GET_NAME),
    NAMED(PROCESS_API_ERROR_OUT_OF_MEMORY),
    NAMED(PROCESS_API_ERROR_NO_USER_TOKEN),
    NAMED(PROCESS_API_ERROR_WINSECAPI_INSTANCE_FAILED),
    NAMED(PROCESS_API_ERROR_NO_CREATEASUSER_PROC),
    NAMED(PROCESS_API_ERROR_NO_CREATEASUSER_LIB),
    NAMED(PROCESS_API_ERROR_GET_THREAD_PRIORITY_FAILED),
    NAMED(PROCESS_API_ERROR_SET_THREAD_PRIORITY_FAILED),
    NAMED(PROCESS_API_ERROR_WAIT_INTERRUPTED),
    NAMED(PROCESS_API_ERROR_WAIT_TIMEOUT),
    NAMED(PROCESS_API_ERROR_USER_ADD_FAILED),
    NAMED(PROCESS_API_ERROR_USER_SET_PASSWORD_FAILED),
    NAMED(PROCESS_API_ERROR_USER_DELETE_FAILED),
    NAMED(PROCESS_API_ERROR_USER_NOT_FOUND),
    NAMED(PROCESS_API_ERROR_CREATE_THSNAPSHOT_FAILED),
    NAMED(PROCESS_API_ERROR_OPEN_PROCESS_FAILED),
    NAMED(PROCESS_API_ERROR_GET_PROCESS_NAME_FAILED),
    NAMED(PROCESS_API_ERROR_PROCESS_NOT_FOUND),
    NAMED(PROCESS_API_ERROR_UNKNOWN),
    NAMED(THREAD_ERROR_NOT_IMPLEMENTED),
    NAMED(THREAD_ERROR_BAD_PARAMETER),
    NAMED(THREAD_ERROR_BAD_HANDLE),
    NAMED(THREAD_ERROR_MEMALLOC_FAILED),
    NAMED(THREAD_ERROR_NULL_POINTER),
    NAMED(THREAD_ERROR_INSUFFICIENT_BUFFER),
    NAMED(THREAD_ERROR_NOT_INITIALIZED),
    NAMED(THREAD_ERROR_ALREADY_INITIALIZED),
    NAMED(THREAD_ERROR_UNEXPECTED),
    NAMED(THREAD_ERROR_CREATE_FAILED),
    NAMED(THREAD_ERROR_INVALID_STACK_SIZE),
    NAMED(THREAD_ERROR_INVALID_CALLER),
    NAMED(THREAD_ERROR_INVALID_STATE),
    NAMED(THREAD_ERROR_POSIX_JOIN_FAILED),
    NAMED(THREAD_ERROR_WIN_GET_EXIT_CODE_THREAD_FAILED),
    NAMED(THREAD_ERROR_WIN_WAIT_FAILED),
    NAMED(THREAD_ERROR_WIN_WAIT_TIMEOUT),
    NAMED(THREAD_ERROR_COM_INIT_FAILED),
    NAMED(THREAD_ERROR_UNKNOWN),
    NAMED(DIRECTORY_ERROR_NOT_IMPLEMENTED),
    NAMED(DIRECTORY_ERROR_BAD_PARAMETER),
    NAMED(DIRECTORY_ERROR_BAD_HANDLE),
    NAMED(DIRECTORY_ERROR_MEMALLOC_FAILED),
    NAMED(DIRECTORY_ERROR_NULL_POINTER),
    NAMED(DIRECTORY_ERROR_INSUFFICIENT_BUFFER),
    NAMED(DIRECTORY_ERROR_NOT_INITIALIZED),
    NAMED(DIRECTORY_ERROR_ALREADY_INITIALIZED),
    NAMED(DIRECTORY_ERROR_UNEXPECTED),
    NAMED(DIRECTORY_ERROR_DIRECTORY_NOT_SPECIFIED),
    NAMED(DIRECTORY_ERROR_DIRECTORY_NOT_FOUND),
    NAMED(DIRECTORY_ERROR_NO_MORE_FILES),
    NAMED(DIRECTORY_ERROR_FAILED_TO_CREATE_DIR),
    NAMED(DIRECTORY_ERROR_DIRECTORY_ALREADY_EXISTS),
    NAMED(DIRECTORY_ERROR_UNKNOWN),
    NAMED(EVENTLIST_ERROR_NOT_IMPLEMENTED),
    NAMED(EVENTLIST_ERROR_BAD_PARAMETER),
    NAMED(EVENTLIST_ERROR_BAD_HANDLE),
    NAMED(EVENTLIST_ERROR_MEMALLOC_FAILED),
    NAMED(EVENTLIST_ERROR_NULL_POINTER),
    NAMED(EVENTLIST_ERROR_INSUFFICIENT_BUFFER),
    NAMED(EVENTLIST_ERROR_NOT_INITIALIZED),
    NAMED(EVENTLIST_ERROR_ALREADY_INITIALIZED),
    NAMED(EVENTLIST_ERROR_UNEXPECTED),
    NAMED(EVENTLIST_ERROR_LIMIT_EXCEEDED),
    NAMED(EVENTLIST_ERROR_EVENT_NOT_FOUND),
    NAMED(EVENTLIST_ERROR_BAD_EVENT_PIPE),
    NAMED(EVENTLIST_ERROR_BAD_EVENT_HANDLE_TYPE),
    NAMED(EVENTLIST_ERROR_UNKNOWN),
    NAMED(CSTORAGEPATH_ERROR_NOT_IMPLEMENTED),
    NAMED(CSTORAGEPATH_ERROR_BAD_PARAMETER),
    NAMED(CSTORAGEPATH_ERROR_BAD_HANDLE),
    NAMED(CSTORAGEPATH_ERROR_MEMALLOC_FAILED),
    NAMED(CSTORAGEPATH_ERROR_NULL_POINTER),
    NAMED(CSTORAGEPATH_ERROR_INSUFFICIENT_BUFFER),
    NAMED(CSTORAGEPATH_ERROR_NOT_INITIALIZED),
    NAMED(CSTORAGEPATH_ERROR_ALREADY_INITIALIZED),
    NAMED(CSTORAGEPATH_ERROR_UNEXPECTED),
    NAMED(CSTORAGEPATH_ERROR_NO_INSTANCE),
    NAMED(CSTORAGEPATH_ERROR_GETTEMPPATH_FAILED),
    NAMED(CSTORAGEPATH_ERROR_TEMPPATH_TOO_BIG),
    NAMED(CSTORAGEPATH_ERROR_UNKNOWN),
    NAMED(TOLMENGINE_ERROR_NOT_IMPLEMENTED),
    NAMED(TOLMENGINE_ERROR_BAD_PARAMETER),
    NAMED(TOLMENGINE_ERROR_BAD_HANDLE),
    NAMED(TOLMENGINE_ERROR_MEMALLOC_FAILED),
    NAMED(TOLMENGINE_ERROR_NULL_POINTER),
    NAMED(TOLMENGINE_ERROR_INSUFFICIENT_BUFFER),
    NAMED(TOLMENGINE_ERROR_NOT_INITIALIZED),
    NAMED(TOLMENGINE_ERROR_ALREADY_INITIALIZED),
    NAMED(TOLMENGINE_ERROR_UNEXPECTED),
    NAMED(TOLMENGINE_ERROR_INTERNAL),
    NAMED(TOLMENGINE_ERROR_WRITE_FAILURE),
    NAMED(TOLMENGINE_ERROR_FILE_NOT_FOUND),
    NAMED(TOLMENGINE_ERROR_FILE_OPEN_FAILURE),
    NAMED(TOLMENGINE_ERROR_ACCESS_DENIED),
    NAMED(TOLMENGINE_ERROR_NULL_XML_ROOT),
    NAMED(TOLMENGINE_ERROR_NULL_XML_CHILD),
    NAMED(TOLMENGINE_ERROR_INVALID_XML),
    NAMED(TOLMENGINE_ERROR_UNKNOWN_XML_TAG),
    NAMED(TOLMENGINE_ERROR_ACTION_CANCELED_BY_USER),
    NAMED(TOLMENGINE_ERROR_UNKNOWN),
    NAMED(TOLMOFFLINE_ERROR_NOT_IMPLEMENTED),
    NAMED(TOLMOFFLINE_ERROR_BAD_PARAMETER),
    NAMED(TOLMOFFLINE_ERROR_BAD_HANDLE),
    NAMED(TOLMOFFLINE_ERROR_MEMALLOC_FAILED),
    NAMED(TOLMOFFLINE_ERROR_NULL_POINTER),
    NAMED(TOLMOFFLINE_ERROR_INSUFFICIENT_BUFFER),
    NAMED(TOLMOFFLINE_ERROR_NOT_INITIALIZED),
    NAMED(TOLMOFFLINE_ERROR_ALREADY_INITIALIZED),
    NAMED(TOLMOFFLINE_ERROR_UNEXPECTED),
    NAMED(TOLMOFFLINE_ERROR_INTERNAL),
    NAMED(TOLMOFFLINE_ERROR_PROCESSING),
    NAMED(TOLMOFFLINE_ERROR_XML_CONFIG_PARSE_SUCCESS),
    NAMED(TOLMOFFLINE_ERROR_XML_REQUEST_GENERATE_SUCCESS),
    NAMED(TOLMOFFLINE_ERROR_UNKNOWN),
};

#undef NAMED

struct Module {
  const char* name;
  std::uint32_t number;
  std::uint32_t count;
};

constexpr Module kModules[] = {
    {"GLOBAL", 0x00, 13},       {"EVENT", 0x01, 20},      {"PROCESS_API", 0x2b, 55},
    {"THREAD", 0x34, 20},       {"DIRECTORY", 0x58, 16},  {"EVENTLIST", 0x8b, 15},
    {"CSTORAGEPATH", 0x9d, 14}, {"TOLMENGINE", 0xaf, 21}, {"TOLMOFFLINE", 0xb0, 15},
};

constexpr std::uint32_t kReserved[] = {111, 125, 133, 134, 135, 136, 193, 194, 195, 196, 198};

ResultCode codeOf(std::uint32_t module, std::uint32_t row) {
  return kFirstTableCode | module << 16 | row;
}

std::string rowOf(ResultCode code) {
  const char* row = findResultCodeRow(code);
  return row != nullptr ? row : "(no row)";
}

bool hasNoRow(ResultCode code) {
  return findResultCodeRow(code) == nullptr;
}

// Puts the table of the system back behind a test that registers another.
class ResultCodesTest : public ::testing::Test {
 protected:
  ~ResultCodesTest() override { registerResultCodeModules(resultCodeModules(), kResultCodeModuleCount); }
};

TEST_F(ResultCodesTest, EachConstantNamesTheRowAtItsPosition) {
  for (const NamedCode& one : kConstants) {
    const std::string row = rowOf(one.code);
    EXPECT_EQ(row.substr(0, row.find(':')), one.name) << row;
    const ResultCodeBlock& block = resultCodeModules()[one.code >> 16 & 0xff];
    ASSERT_LT(one.code & 0xffff, block.count) << one.name;
    EXPECT_EQ(row, block.rows[one.code & 0xffff]);
  }
}

TEST_F(ResultCodesTest, EachRowButSuccessHasItsConstant) {
  std::map<ResultCode, const char*> byCode;
  for (const NamedCode& one : kConstants) {
    EXPECT_TRUE(byCode.emplace(one.code, one.name).second) << one.name;
  }
  std::size_t rows = 0;
  for (const Module& module : kModules) {
    for (std::uint32_t row = 1; row < module.count; ++row) {
      EXPECT_EQ(byCode.count(codeOf(module.number, row)), 1U) << rowOf(codeOf(module.number, row));
      ++rows;
    }
  }
  EXPECT_EQ(byCode.size(), rows);
}

TEST_F(ResultCodesTest, BlocksStartWithTheSameTenRowsAndEndWithTheCatchAll) {
  const char* const common[] = {"_SUCCESS",
                                "_ERROR_NOT_IMPLEMENTED",
                                "_ERROR_BAD_PARAMETER",
                                "_ERROR_BAD_HANDLE",
                                "_ERROR_MEMALLOC_FAILED",
                                "_ERROR_NULL_POINTER",
                                "_ERROR_INSUFFICIENT_BUFFER",
                                "_ERROR_NOT_INITIALIZED",
                                "_ERROR_ALREADY_INITIALIZED",
                                "_ERROR_UNEXPECTED"};
  for (const Module& module : kModules) {
    const ResultCodeBlock& block = resultCodeModules()[module.number];
    ASSERT_EQ(block.count, module.count) << module.name;
    for (std::uint32_t row = 0; row < 10; ++row) {
      EXPECT_EQ(std::string(block.rows[row]), std::string(module.name) + common[row]);
    }
    EXPECT_EQ(std::string(block.rows[block.count - 1]), std::string(module.name) + "_ERROR_UNKNOWN");
  }
}

TEST_F(ResultCodesTest, ModulesWithRowsOfTheirOwnHaveThemWordForWord) {
  const NamedCode rows[] = {
      {"GLOBAL_ERROR_NO_INSTANCE", 0xfe00000a},
      {"GLOBAL_ERROR_MGMT_TUNNEL_TERMINATING:used by Agent to signal to user tunnel "
       "Downloader that start",
       0xfe00000b},
      {"GLOBAL_ERROR_UNKNOWN", 0xfe00000c},
      {"EVENT_ERROR_NO_CALLBACK:An operation requiring an event callback was attempted on an "
       "event without a callback.",
       0xfe01000a},
      {"EVENT_ERROR_EVENT_IS_ALREADY_ON_A_LIST:Attempted to place an event on an event list "
       "while it was already on an event list.",
       0xfe01000b},
      {"EVENT_ERROR_WAIT_TIMEOUT:A wait on an event or a list of events timed out.", 0xfe01000c},
      {"EVENT_ERROR_WAIT_FAILED:A wait on an event or a list of events failed.", 0xfe01000d},
      {"EVENT_ERROR_DUPLICATE_FAILED:An attempt to duplicate an event's OS handle failed.", 0xfe01000e},
      {"EVENT_ERROR_CREATE_FAILED:An attempt to create an event's OS handle failed.", 0xfe01000f},
      {"EVENT_ERROR_SET_FAILED:An attempt to set an event's signaled state failed.", 0xfe010010},
      {"EVENT_ERROR_RESET_FAILED:An attempt to reset an event's signaled state failed.", 0xfe010011},
      {"EVENT_ERROR_EVENT_TYPE_INVALID_FOR_LISTS:Attempted to place an event, with an event "
       "type that is not valid for lists, on an event list.",
       0xfe010012},
      {"EVENT_ERROR_UNKNOWN", 0xfe010013},
      {"PROCESS_API_ERROR_NOTRUNNING", 0xfe2b000a},
      {"PROCESS_API_ERROR_FILENOTFOUND", 0xfe2b000b},
      {"PROCESS_API_ERROR_PATHNOTFOUND", 0xfe2b000c},
      {"PROCESS_API_ERROR_INVALIDPROCESSID", 0xfe2b000d},
      {"PROCESS_API_ERROR_PROCESS_ABORTED", 0xfe2b000e},
      {"PROCESS_API_ERROR_NOPROCSLOTS", 0xfe2b000f},
      {"PROCESS_API_ERROR_FAILEDOPENPIDFILE", 0xfe2b0010},
      {"PROCESS_API_ERROR_PIDFILELOCKED", 0xfe2b0011},
      {"PROCESS_API_ERROR_GETSYSDIR", 0xfe2b0012},
      {"PROCESS_API_ERROR_TRUSTDLL_LOAD_FAIL", 0xfe2b0013},
      {"PROCESS_API_ERROR_TRUSTFUNC_LOAD_FAIL", 0xfe2b0014},
      {"PROCESS_API_ERROR_TRUSTPROV_UNKOWN", 0xfe2b0015},
      {"PROCESS_API_ERROR_SUBJ_UNTRUST", 0xfe2b0016},
      {"PROCESS_API_ERROR_NO_SIG", 0xfe2b0017},
      {"PROCESS_API_ERROR_CERT_EXPIRE", 0xfe2b0018},
      {"PROCESS_API_ERROR_UNTRUSTED_ROOT", 0xfe2b0019},
      {"PROCESS_API_ERROR_CERT_REVOKED", 0xfe2b001a},
      {"PROCESS_API_ERROR_UNTRUSTEDCA", 0xfe2b001b},
      {"PROCESS_API_ERROR_WRONG_USE", 0xfe2b001c},
      {"PROCESS_API_ERROR_ISSUERCHAINING", 0xfe2b001d},
      {"PROCESS_API_ERROR_TRUST", 0xfe2b001e},
      {"PROCESS_API_ERROR_UNTRUSTED_SIGNER", 0xfe2b001f},
      {"PROCESS_API_ERROR_QUERY_OBJECT", 0xfe2b0020},
      {"PROCESS_API_ERROR_MSG_GET_PARAM", 0xfe2b0021},
      {"PROCESS_API_ERROR_MSG_GET_PARAM2", 0xfe2b0022},
      {"PROCESS_API_ERROR_FIND_CERT", 0xfe2b0023},
      {"PROCESS_API_ERROR_GET_NAME", 0xfe2b0024},
      {"PROCESS_API_ERROR_OUT_OF_MEMORY", 0xfe2b0025},
      {"PROCESS_API_ERROR_NO_USER_TOKEN", 0xfe2b0026},
      {"PROCESS_API_ERROR_WINSECAPI_INSTANCE_FAILED", 0xfe2b0027},
      {"PROCESS_API_ERROR_NO_CREATEASUSER_PROC", 0xfe2b0028},
      {"PROCESS_API_ERROR_NO_CREATEASUSER_LIB", 0xfe2b0029},
      {"PROCESS_API_ERROR_GET_THREAD_PRIORITY_FAILED", 0xfe2b002a},
      {"PROCESS_API_ERROR_SET_THREAD_PRIORITY_FAILED", 0xfe2b002b},
      {"PROCESS_API_ERROR_WAIT_INTERRUPTED", 0xfe2b002c},
      {"PROCESS_API_ERROR_WAIT_TIMEOUT", 0xfe2b002d},
      {"PROCESS_API_ERROR_USER_ADD_FAILED", 0xfe2b002e},
      {"PROCESS_API_ERROR_USER_SET_PASSWORD_FAILED", 0xfe2b002f},
      {"PROCESS_API_ERROR_USER_DELETE_FAILED", 0xfe2b0030},
      {"PROCESS_API_ERROR_USER_NOT_FOUND", 0xfe2b0031},
      {"PROCESS_API_ERROR_CREATE_THSNAPSHOT_FAILED", 0xfe2b0032},
      {"PROCESS_API_ERROR_OPEN_PROCESS_FAILED", 0xfe2b0033},
      {"PROCESS_API_ERROR_GET_PROCESS_NAME_FAILED", 0xfe2b0034},
      {"PROCESS_API_ERROR_PROCESS_NOT_FOUND", 0xfe2b0035},
      {"PROCESS_API_ERROR_UNKNOWN", 0xfe2b0036},
      {"THREAD_ERROR_CREATE_FAILED", 0xfe34000a},
      {"THREAD_ERROR_INVALID_STACK_SIZE", 0xfe34000b},
      {"THREAD_ERROR_INVALID_CALLER", 0xfe34000c},
      {"THREAD_ERROR_INVALID_STATE", 0xfe34000d},
      {"THREAD_ERROR_POSIX_JOIN_FAILED", 0xfe34000e},
      {"THREAD_ERROR_WIN_GET_EXIT_CODE_THREAD_FAILED", 0xfe34000f},
      {"THREAD_ERROR_WIN_WAIT_FAILED", 0xfe340010},
      {"THREAD_ERROR_WIN_WAIT_TIMEOUT", 0xfe340011},
      {"THREAD_ERROR_COM_INIT_FAILED", 0xfe340012},
      {"THREAD_ERROR_UNKNOWN", 0xfe340013},
      {"DIRECTORY_ERROR_DIRECTORY_NOT_SPECIFIED", 0xfe58000a},
      {"DIRECTORY_ERROR_DIRECTORY_NOT_FOUND", 0xfe58000b},
      {"DIRECTORY_ERROR_NO_MORE_FILES", 0xfe58000c},
      {"DIRECTORY_ERROR_FAILED_TO_CREATE_DIR", 0xfe58000d},
      {"DIRECTORY_ERROR_DIRECTORY_ALREADY_EXISTS", 0xfe58000e},
      {"DIRECTORY_ERROR_UNKNOWN", 0xfe58000f},
      {"EVENTLIST_ERROR_LIMIT_EXCEEDED:The maximum number of events an event list can support "
       "has been exceeded.",
       0xfe8b000a},
      {"EVENTLIST_ERROR_EVENT_NOT_FOUND:A list was searched for a specific event and was not "
       "found.",
       0xfe8b000b},
      {"EVENTLIST_ERROR_BAD_EVENT_PIPE:The event's data structure does not contain a valid OS "
       "pipe handle.",
       0xfe8b000c},
      {"EVENTLIST_ERROR_BAD_EVENT_HANDLE_TYPE:The event's data structure does not contain a "
       "valid OS handle type specifier.",
       0xfe8b000d},
      {"EVENTLIST_ERROR_UNKNOWN", 0xfe8b000e},
      {"CSTORAGEPATH_ERROR_NO_INSTANCE", 0xfe9d000a},
      {"CSTORAGEPATH_ERROR_GETTEMPPATH_FAILED", 0xfe9d000b},
      {"CSTORAGEPATH_ERROR_TEMPPATH_TOO_BIG", 0xfe9d000c},
      {"CSTORAGEPATH_ERROR_UNKNOWN", 0xfe9d000d},
      {"TOLMENGINE_ERROR_INTERNAL:Error: TOLM encountered an unspecified internal error", 0xfeaf000a},
      {"TOLMENGINE_ERROR_WRITE_FAILURE:Error: Failed to write to file", 0xfeaf000b},
      {"TOLMENGINE_ERROR_FILE_NOT_FOUND:Error: File not found", 0xfeaf000c},
      {"TOLMENGINE_ERROR_FILE_OPEN_FAILURE:Error: File could not be opened", 0xfeaf000d},
      {"TOLMENGINE_ERROR_ACCESS_DENIED:Error: Access denied", 0xfeaf000e},
      {"TOLMENGINE_ERROR_NULL_XML_ROOT:Error: XML configuration tree root is NULL", 0xfeaf000f},
      {"TOLMENGINE_ERROR_NULL_XML_CHILD:Error: XML configuration tree child is NULL", 0xfeaf0010},
      {"TOLMENGINE_ERROR_INVALID_XML:Error: Encountered invalid XML configuration tree", 0xfeaf0011},
      {"TOLMENGINE_ERROR_UNKNOWN_XML_TAG:Error: Encountered unknown XML configuration tag", 0xfeaf0012},
      {"TOLMENGINE_ERROR_ACTION_CANCELED_BY_USER:Notice: Action canceled by user", 0xfeaf0013},
      {"TOLMENGINE_ERROR_UNKNOWN", 0xfeaf0014},
      {"TOLMOFFLINE_ERROR_INTERNAL:Error: TOLM GUI encounted an unspecified internal error", 0xfeb0000a},
      {"TOLMOFFLINE_ERROR_PROCESSING:Notice: TOLM GUI is processing...", 0xfeb0000b},
      {"TOLMOFFLINE_ERROR_XML_CONFIG_PARSE_SUCCESS:Notice: Successfully parsed XML "
       "configuration",
       0xfeb0000c},
      {"TOLMOFFLINE_ERROR_XML_REQUEST_GENERATE_SUCCESS:Notice: Successfully generated request "
       "XML",
       0xfeb0000d},
      {"TOLMOFFLINE_ERROR_UNKNOWN", 0xfeb0000e},
  };
  for (const NamedCode& one : rows) {
    EXPECT_EQ(rowOf(one.code), one.name);
  }
}

TEST_F(ResultCodesTest, TableHas224EntriesOfWhichTheReservedShareOneBlock) {
  EXPECT_EQ(kResultCodeModuleCount, 224U);
  std::set<std::uint32_t> withRows;
  for (const Module& module : kModules) {
    withRows.insert(module.number);
  }
  const ResultCodeBlock* const modules = resultCodeModules();
  for (const std::uint32_t number : kReserved) {
    withRows.insert(number);
    EXPECT_EQ(modules[number].count, 1U) << number;
    EXPECT_EQ(modules[number].rows, modules[kReserved[0]].rows) << number;
  }
  for (std::uint32_t number = 0; number < kResultCodeModuleCount; ++number) {
    if (withRows.count(number) == 0) {
      EXPECT_EQ(modules[number].count, 0U) << number;
      EXPECT_EQ(modules[number].rows, nullptr) << number;
      EXPECT_TRUE(hasNoRow(codeOf(number, 0))) << number;
      EXPECT_TRUE(hasNoRow(codeOf(number, 9))) << number;
    }
  }
}

TEST_F(ResultCodesTest, CodesReadAsModuleAndRow) {
  EXPECT_EQ(TOLMENGINE_ERROR_WRITE_FAILURE, 0xfeaf000b);
  EXPECT_EQ(TOLMENGINE_ERROR_NULL_POINTER, 0xfeaf0005);
  EXPECT_EQ(TOLMOFFLINE_ERROR_PROCESSING, 0xfeb0000b);
  EXPECT_EQ(CSTORAGEPATH_ERROR_NO_INSTANCE, 0xfe9d000a);
  EXPECT_EQ(GLOBAL_ERROR_BAD_PARAMETER, 0xfe000002);
  EXPECT_EQ(static_cast<std::int32_t>(TOLMENGINE_ERROR_WRITE_FAILURE), -22085621);
  EXPECT_EQ(static_cast<std::int32_t>(TOLMENGINE_ERROR_NULL_POINTER), -22085627);
  EXPECT_EQ(static_cast<std::int32_t>(TOLMOFFLINE_ERROR_PROCESSING), -22020085);
  EXPECT_EQ(static_cast<std::int32_t>(CSTORAGEPATH_ERROR_NO_INSTANCE), -23265270);
  EXPECT_EQ(static_cast<std::int32_t>(GLOBAL_ERROR_BAD_PARAMETER), -33554430);
  EXPECT_EQ(PROCESS_API_ERROR_GET_THREAD_PRIORITY_FAILED & 0xffff, 42U);
  EXPECT_EQ(PROCESS_API_ERROR_WAIT_INTERRUPTED & 0xffff, 44U);
  EXPECT_EQ(PROCESS_API_ERROR_UNKNOWN & 0xffff, 54U);
}

TEST_F(ResultCodesTest, CodePastTheEndYieldsTheLastRowOfItsBlock) {
  EXPECT_EQ(rowOf(0xfeaf0015), "TOLMENGINE_ERROR_UNKNOWN");
  EXPECT_EQ(rowOf(0xfeafffff), "TOLMENGINE_ERROR_UNKNOWN");
  EXPECT_EQ(rowOf(0xfe00000d), "GLOBAL_ERROR_UNKNOWN");
}

TEST_F(ResultCodesTest, ModuleWithoutBlockAndModulePastTheTableHaveNoRow) {
  EXPECT_TRUE(hasNoRow(0xfedf0000));
  EXPECT_TRUE(hasNoRow(0xfee00000));
  EXPECT_TRUE(hasNoRow(0xfeffffff));
}

TEST_F(ResultCodesTest, ReservedModulesYieldTheDummyRow) {
  EXPECT_EQ(rowOf(0xfe6f0000), "DUMMY_ERROR_NOT_IMPLEMENTED");
  EXPECT_EQ(rowOf(0xfe6f0001), "DUMMY_ERROR_NOT_IMPLEMENTED");
  for (const std::uint32_t number : kReserved) {
    EXPECT_EQ(rowOf(codeOf(number, 0)), "DUMMY_ERROR_NOT_IMPLEMENTED") << number;
    EXPECT_EQ(rowOf(codeOf(number, 0xffff)), "DUMMY_ERROR_NOT_IMPLEMENTED") << number;
  }
}

TEST_F(ResultCodesTest, ValueFrom0xff000000UpIsLookedUpLikeAnyOther) {
  EXPECT_EQ(findResultCodeRow(0xffaf000b), findResultCodeRow(0xfeaf000b));
  EXPECT_EQ(rowOf(0xffaf000b), "TOLMENGINE_ERROR_WRITE_FAILURE:Error: Failed to write to file");
}

TEST_F(ResultCodesTest, ValueBelowTheTableCodesHasNoRow) {
  EXPECT_TRUE(hasNoRow(0xfdffffff));
  EXPECT_TRUE(hasNoRow(2));
  EXPECT_TRUE(hasNoRow(0));
}

TEST_F(ResultCodesTest, RowWithADescriptionIsYieldedWhole) {
  EXPECT_EQ(rowOf(TOLMENGINE_ERROR_FILE_NOT_FOUND), "TOLMENGINE_ERROR_FILE_NOT_FOUND:Error: File not found");
}

TEST_F(ResultCodesTest, SuccessRowsExist) {
  EXPECT_EQ(rowOf(0xfeaf0000), "TOLMENGINE_SUCCESS");
}

TEST_F(ResultCodesTest, NothingHasARowUntilATableIsRegistered) {
  registerResultCodeModules(nullptr, kResultCodeModuleCount);
  EXPECT_TRUE(hasNoRow(GLOBAL_ERROR_UNKNOWN));
  registerResultCodeModules(resultCodeModules(), 0);
  EXPECT_TRUE(hasNoRow(GLOBAL_ERROR_UNKNOWN));
  registerResultCodeModules(resultCodeModules(), 1);
  EXPECT_EQ(rowOf(GLOBAL_ERROR_UNKNOWN), "GLOBAL_ERROR_UNKNOWN");
  EXPECT_TRUE(hasNoRow(EVENT_ERROR_UNKNOWN));
}

TEST_F(ResultCodesTest, NullRowYieldsTheLastOfItsBlock) {
  const char* const rows[] = {"A_SUCCESS", nullptr, "A_ERROR_UNKNOWN"};
  const ResultCodeBlock modules[] = {{3, rows}, {0, rows}};
  registerResultCodeModules(modules, 2);
  EXPECT_EQ(rowOf(0xfe000000), "A_SUCCESS");
  EXPECT_EQ(rowOf(0xfe000001), "A_ERROR_UNKNOWN");
  EXPECT_TRUE(hasNoRow(0xfe010000));
}

TEST_F(ResultCodesTest, MatcherTellsResultsApartByTheirRows) {
  EXPECT_RESULT(GLOBAL_ERROR_UNEXPECTED, 0xfe000009);
  EXPECT_EQ(test::describeResult(GLOBAL_ERROR_UNEXPECTED), "0xFE000009 (GLOBAL_ERROR_UNEXPECTED)");
}

}  // namespace
}  // namespace halvo
