#include "vpn/Common/Utility/CoreFoundationUtils_darwin.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <limits>

#include "tests/macos/platform/Control.h"
#include "tests/support/Files.h"
#include "tests/support/LogRecorder.h"
#include "tests/support/ResultMatchers.h"
#include "tests/support/TempFolder.h"
#include "vpn/Common/Utility/CoreFoundationHeld.h"
#include "vpn/Common/Utility/CoreFoundationUtils.h"

namespace halvo {
namespace {

using test::LogRecorder;
using test::TempFolder;
namespace platform = test::platform;

// A file with a property list of this value.
struct ListFile {
  explicit ListFile(const std::string& value) {
    test::writeFile(path, "<?xml version=\"1.0\"?>\n<plist version=\"1.0\">" + value + "</plist>");
  }
  const TempFolder folder;
  const std::string path = folder.path() + "/list.plist";
};

// Each test ends with no object of the platform left over.
class CoreFoundationTest : public ::testing::Test {
 protected:
  CoreFoundationTest() {
    platform::reset();
    m_nOwned = platform::ownedObjects();
  }
  ~CoreFoundationTest() override { EXPECT_EQ(platform::ownedObjects(), m_nOwned); }

  // Expects `call` to give `code` and to log `messages` at the level E, or at `level` where it is given.
  static void expectFailure(ResultCode code, const std::vector<std::string>& messages,
                            const std::function<ResultCode()>& call, int level = kLogError) {
    LogRecorder log;
    EXPECT_RESULT(call(), code);
    std::vector<std::string> texts;
    for (const test::LogRecord& record : log.records()) {
      texts.push_back(record.text());
      EXPECT_EQ(record.level, level);
    }
    EXPECT_EQ(texts, messages);
  }

  static Held<CFStringRef> string(const char* text) {
    return Held<CFStringRef>(CFStringCreateWithCString(nullptr, text, kCFStringEncodingUTF8));
  }
  static Held<CFDataRef> data(std::size_t size) {
    const std::vector<UInt8> bytes(size, 0x5a);
    return Held<CFDataRef>(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(size)));
  }

 private:
  long m_nOwned = 0;
};

// Numbers.

TEST_F(CoreFoundationTest, NumbersOf32BitsComeBack) {
  for (const std::uint32_t value : {0U, 1U, 0x7fffffffU, 0xffffffffU}) {
    CFNumberRef made = nullptr;
    ASSERT_RESULT(UnsignedIntToCFNumber(value, made), 0);
    const Held<CFNumberRef> number(made);
    std::uint32_t read = 77;
    EXPECT_RESULT(CFNumberToUnsignedInt(number.get(), read), 0);
    EXPECT_EQ(read, value);
  }
}

TEST_F(CoreFoundationTest, NumbersOf64BitsComeBack) {
  // The platform's own are signed: the upper half goes through them bit for bit.
  for (const std::uint64_t value :
       {std::uint64_t{0}, std::uint64_t{1} << 40, (std::uint64_t{1} << 63) - 1, std::uint64_t{1} << 63,
        (std::uint64_t{1} << 63) + 1, std::numeric_limits<std::uint64_t>::max()}) {
    CFNumberRef made = nullptr;
    ASSERT_RESULT(UnsignedLongToCFNumber(value, made), 0);
    const Held<CFNumberRef> number(made);
    std::uint64_t read = 77;
    EXPECT_RESULT(CFNumberToUnsignedLong(number.get(), read), 0);
    EXPECT_EQ(read, value);
  }
}

TEST_F(CoreFoundationTest, NumberThatDoesNotFitIn32BitsFails) {
  CFNumberRef made = nullptr;
  ASSERT_RESULT(UnsignedLongToCFNumber(std::uint64_t{1} << 40, made), 0);
  const Held<CFNumberRef> number(made);
  std::uint32_t read = 77;
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {"CFNumberGetValue failed"},
                [&] { return CFNumberToUnsignedInt(number.get(), read); });
  EXPECT_EQ(read, 0U);
}

TEST_F(CoreFoundationTest, NumberThatIsNotWholeFailsIn64Bits) {
  const ListFile file("<dict><key>Half</key><real>0.5</real></dict>");
  CFDictionaryRef read = nullptr;
  ASSERT_RESULT(ParseFileToDict(file.path, read), 0);
  const Held<CFDictionaryRef> list(read);
  const auto half = static_cast<CFNumberRef>(CFDictionaryGetValue(list.get(), string("Half").get()));
  std::uint64_t number = 77;
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {"CFNumberGetValue failed"},
                [&] { return CFNumberToUnsignedLong(half, number); });
  EXPECT_EQ(number, 0U);
}

TEST_F(CoreFoundationTest, NullNumberIsBadInput) {
  std::uint32_t small = 77;
  std::uint64_t large = 77;
  expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {"CFNumberRef is NULL"},
                [&] { return CFNumberToUnsignedInt(nullptr, small); });
  expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {"CFNumberRef is NULL"},
                [&] { return CFNumberToUnsignedLong(nullptr, large); });
  EXPECT_EQ(small, 0U);
  EXPECT_EQ(large, 0U);
}

TEST_F(CoreFoundationTest, NumberThatCannotBeMadeIsLogged) {
  CFNumberRef made = nullptr;
  platform::failNext("CFNumberCreate");
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {"Failed to create CFNumber"},
                [&] { return UnsignedIntToCFNumber(1, made); });
  platform::failNext("CFNumberCreate");
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {"Failed to create CFNumber"},
                [&] { return UnsignedLongToCFNumber(1, made); });
  EXPECT_EQ(made, nullptr);
}

// Bytes.

TEST_F(CoreFoundationTest, VectorOfBytesComesBack) {
  const std::vector<std::uint8_t> bytes = {0, 1, 0xff, 0, 7};
  CFDataRef made = nullptr;
  ASSERT_RESULT(VectorToCFData(bytes, made), 0);
  const Held<CFDataRef> content(made);
  std::vector<std::uint8_t> read(100, 3);
  EXPECT_RESULT(CFDataToVector(content.get(), read), 0);
  EXPECT_EQ(read, bytes);
}

TEST_F(CoreFoundationTest, EmptyDataGivesAnEmptyVector) {
  std::vector<std::uint8_t> read(3, 3);
  EXPECT_RESULT(CFDataToVector(data(0).get(), read), 0);
  EXPECT_TRUE(read.empty());
}

TEST_F(CoreFoundationTest, EmptyVectorIsBadInput) {
  CFDataRef made = nullptr;
  expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {"Data is empty"}, [&] { return VectorToCFData({}, made); });
  EXPECT_EQ(made, nullptr);
}

TEST_F(CoreFoundationTest, DataThatCannotBeMadeIsLogged) {
  CFDataRef made = nullptr;
  const std::function<ResultCode()> calls[] = {
      [&] { return VectorToCFData({1}, made); },
      [&] { return SockaddrToCFData(1, 2, made); },
      [&] { return SocketToCFData(1, made); },
  };
  for (const std::function<ResultCode()>& call : calls) {
    platform::failNext("CFDataCreate");
    expectFailure(GLOBAL_ERROR_UNEXPECTED, {"Failed to create CFData"}, call);
    EXPECT_EQ(made, nullptr);
  }
}

TEST_F(CoreFoundationTest, NullDataIsBadInputInEveryForm) {
  std::vector<std::uint8_t> bytes;
  sockaddr_storage address;
  std::int32_t socket = 7;
  const std::function<ResultCode()> calls[] = {
      [&] { return CFDataToVector(nullptr, bytes); },
      [&] { return CFDataToSockaddr(nullptr, address); },
      [&] { return CFDataToSocket(nullptr, socket); },
  };
  for (const std::function<ResultCode()>& call : calls) {
    expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {"CFDataRef is NULL"}, call);
  }
  EXPECT_EQ(socket, -1);
}

TEST_F(CoreFoundationTest, AddressOf128BytesFitsAndOneOf129Fails) {
  sockaddr_storage address;
  EXPECT_RESULT(CFDataToSockaddr(data(128).get(), address), 0);
  const std::string whole(128, 0x5a);
  EXPECT_EQ(std::memcmp(&address, whole.data(), whole.size()), 0);
  expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {"Data is not of the appropriate size"},
                [&] { return CFDataToSockaddr(data(129).get(), address); });
}

TEST_F(CoreFoundationTest, ShortAddressLeavesTheRestAtZero) {
  sockaddr_storage address;
  std::memset(&address, 0x11, sizeof(address));
  EXPECT_RESULT(CFDataToSockaddr(data(16).get(), address), 0);
  const std::string expected = std::string(16, 0x5a) + std::string(112, '\0');
  EXPECT_EQ(std::memcmp(&address, expected.data(), expected.size()), 0);
}

TEST_F(CoreFoundationTest, AddressIsMadeOfItsTwoHalves) {
  CFDataRef made = nullptr;
  ASSERT_RESULT(SockaddrToCFData(0x1122334455667788, 0x99aabbccddeeff00, made), 0);
  const Held<CFDataRef> content(made);
  std::vector<std::uint8_t> bytes;
  ASSERT_RESULT(CFDataToVector(content.get(), bytes), 0);
  ASSERT_EQ(bytes.size(), 16U);
  std::uint64_t halves[2];
  std::memcpy(halves, bytes.data(), sizeof(halves));
  EXPECT_EQ(halves[0], 0x1122334455667788U);
  EXPECT_EQ(halves[1], 0x99aabbccddeeff00U);
}

TEST_F(CoreFoundationTest, SocketComesBack) {
  CFDataRef made = nullptr;
  ASSERT_RESULT(SocketToCFData(0x01020304, made), 0);
  const Held<CFDataRef> content(made);
  std::int32_t socket = 0;
  EXPECT_RESULT(CFDataToSocket(content.get(), socket), 0);
  EXPECT_EQ(socket, 0x01020304);
}

TEST_F(CoreFoundationTest, SocketIsExactlyFourBytes) {
  std::int32_t socket = 7;
  for (const std::size_t size : {std::size_t{0}, std::size_t{3}, std::size_t{5}}) {
    expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {"Data is not of the appropriate size"},
                  [&] { return CFDataToSocket(data(size).get(), socket); });
    EXPECT_EQ(socket, -1);
  }
}

// Texts.

TEST_F(CoreFoundationTest, TextComesBackWithAndWithoutADirectPointer) {
  for (const bool direct : {true, false}) {
    platform::setDirectPointers(direct);
    std::string text = "left over";
    EXPECT_RESULT(CFStringToSTDString(string("Gr\xc3\xbc\xc3\x9f \xe6\x97\xa5").get(), text), 0);
    EXPECT_EQ(text, "Gr\xc3\xbc\xc3\x9f \xe6\x97\xa5");
  }
}

TEST_F(CoreFoundationTest, NullStringIsAnEmptyText) {
  LogRecorder log;
  std::string text = "left over";
  EXPECT_RESULT(CFStringToSTDString(nullptr, text), 0);
  EXPECT_EQ(text, "");
  EXPECT_TRUE(log.records().empty()) << log.dump();
}

TEST_F(CoreFoundationTest, TextThatDoesNotFitTheBufferFailsWithoutARecord) {
  platform::setDirectPointers(false);
  const std::string fitting(1023, 'a');
  std::string text;
  EXPECT_RESULT(CFStringToSTDString(string(fitting.c_str()).get(), text), 0);
  EXPECT_EQ(text, fitting);
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {},
                [&] { return CFStringToSTDString(string((fitting + "a").c_str()).get(), text); });
  EXPECT_EQ(text, "");
  EXPECT_RESULT(CFStringToSTDString(string((fitting + "a").c_str()).get(), text, 1025), 0);
  EXPECT_EQ(text, fitting + "a");
}

TEST_F(CoreFoundationTest, StringIsMadeByTheFormatAndTakesNoDirectives) {
  CFStringRef made = nullptr;
  ASSERT_RESULT(STDStringToCFString("100 %s %n of it", made), 0);
  const Held<CFStringRef> whole(made);
  std::string text;
  EXPECT_RESULT(CFStringToSTDString(whole.get(), text), 0);
  EXPECT_EQ(text, "100 %s %n of it");
}

TEST_F(CoreFoundationTest, StringThatCannotBeMadeIsLogged) {
  CFStringRef made = nullptr;
  platform::failNext("CFStringCreateWithFormat");
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {"Failed to create CFString"},
                [&] { return STDStringToCFString("text", made); });
  EXPECT_EQ(made, nullptr);
}

TEST_F(CoreFoundationTest, ListOfTextsKeepsItsOrder) {
  CFArrayRef made = nullptr;
  ASSERT_RESULT(STDStringsToCFArray({"b", "a", ""}, made), 0);
  const Held<CFArrayRef> array(made);
  ASSERT_EQ(CFArrayGetCount(array.get()), 3);
  std::string text;
  EXPECT_RESULT(CFStringToSTDString(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array.get(), 0)), text),
                0);
  EXPECT_EQ(text, "b");
  EXPECT_RESULT(CFStringToSTDString(static_cast<CFStringRef>(CFArrayGetValueAtIndex(array.get(), 2)), text),
                0);
  EXPECT_EQ(text, "");
}

TEST_F(CoreFoundationTest, EmptyListOfTextsIsBadInputAndAFailedAllocationHasItsCode) {
  CFArrayRef made = nullptr;
  expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {}, [&] { return STDStringsToCFArray({}, made); });
  platform::failNext("CFArrayCreateMutable");
  expectFailure(GLOBAL_ERROR_MEMALLOC_FAILED, {}, [&] { return STDStringsToCFArray({"a"}, made); });
  platform::failNext("CFStringCreateWithCString");
  expectFailure(GLOBAL_ERROR_MEMALLOC_FAILED, {}, [&] { return STDStringsToCFArray({"a"}, made); });
  EXPECT_EQ(made, nullptr);
}

// The locale.

TEST_F(CoreFoundationTest, FirstPreferredLanguageIsCopied) {
  platform::setPreferredLanguages({"pt-BR", "en"});
  CFStringRef made = nullptr;
  ASSERT_RESULT(GetPreferredLanguage(made), 0);
  const Held<CFStringRef> language(made);
  std::string text;
  EXPECT_RESULT(CFStringToSTDString(language.get(), text), 0);
  EXPECT_EQ(text, "pt-BR");
}

TEST_F(CoreFoundationTest, MissingPreferredLanguagesAreLogged) {
  CFStringRef made = nullptr;
  const auto call = [&] { return GetPreferredLanguage(made); };
  platform::failNext("CFLocaleCopyPreferredLanguages");
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {"CFLocaleCopyPreferredLanguages() returned NULL"}, call);
  platform::setPreferredLanguages({});
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {"PreferredLanguages array is empty"}, call);
  platform::setPreferredLanguages({"en"});
  platform::failNext("CFArrayGetValueAtIndex");
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {"CFArrayGetValueAtIndex returned NULL"}, call);
  EXPECT_EQ(made, nullptr);
}

TEST_F(CoreFoundationTest, PreferredLanguageThatCannotBeCopiedFailsWithoutAText) {
  CFStringRef made = nullptr;
  platform::failNext("CFStringCreateCopy");
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {}, [&] { return GetPreferredLanguage(made); });
  EXPECT_EQ(made, nullptr);
}

TEST_F(CoreFoundationTest, LocaleOfTheHostGivesTheLanguageCodeInLowerCase) {
  std::string code;
  platform::setLocale("fr", "CH");
  EXPECT_RESULT(GetLangCode(code), 0);
  EXPECT_EQ(code, "fr-ch");
  platform::setLocale("en", "US");
  EXPECT_RESULT(GetLangCode(code), 0);
  EXPECT_EQ(code, "en-us");
}

TEST_F(CoreFoundationTest, LocaleOfTheHostWithoutACountryFails) {
  platform::setLocale("de", std::nullopt);
  std::string code = "left over";
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {"CFLocaleGetValue(kCFLocaleCountryCode) returned NULL"},
                [&] { return GetLangCode(code); });
  EXPECT_EQ(code, "");
}

TEST_F(CoreFoundationTest, LocaleOfTheHostWithoutALanguageAndNoLocaleAtAllFail) {
  std::string code;
  platform::setLocale(std::nullopt, "AT");
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {"CFLocaleGetValue(kCFLocaleLanguageCode) returned NULL"},
                [&] { return GetLangCode(code); });
  platform::setLocale("", "AT");
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {"Could not get the locale information"},
                [&] { return GetLangCode(code); });
  platform::failNext("CFLocaleCopyCurrent");
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {"CFLocaleCopyCurrent returned NULL"},
                [&] { return GetLangCode(code); });
}

// Files.

TEST_F(CoreFoundationTest, FileAndFolderThatAreThereExist) {
  const TempFolder folder;
  test::writeFile(folder.path() + "/file", "x");
  LogRecorder log;
  bool exists = false;
  EXPECT_RESULT(FileExistsAtPath(folder.path() + "/file", exists), 0);
  EXPECT_TRUE(exists);
  exists = false;
  EXPECT_RESULT(FileExistsAtPath(folder.path(), exists), 0);
  EXPECT_TRUE(exists);
  EXPECT_TRUE(log.records().empty()) << log.dump();
}

TEST_F(CoreFoundationTest, FileThatIsMissingIsASuccessWithTheReasonAsInformation) {
  const TempFolder folder;
  bool exists = true;
  expectFailure(
      0,
      {"CFURLResourceIsReachable error:Error occurred. Domain: NSCocoaErrorDomain Code: 0x104Description: "
       "no such file"},
      [&] { return FileExistsAtPath(folder.path() + "/none", exists); }, kLogInformation);
  EXPECT_FALSE(exists);
}

TEST_F(CoreFoundationTest, DictionaryIsWrittenAndReadBack) {
  const TempFolder folder;
  const std::string path = folder.path() + "/list.plist";
  test::writeFile(path,
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                  "<key>UILogLocation</key><string>/var/log/\xc3\xbc</string>"
                  "<key>Count</key><integer>7</integer></dict></plist>\n");
  CFDictionaryRef read = nullptr;
  ASSERT_RESULT(ParseFileToDict(path, read), 0);
  const Held<CFDictionaryRef> first(read);
  const std::string copy = folder.path() + "/copy.plist";
  ASSERT_RESULT(WriteDictionaryToFile(copy, first.get()), 0);
  EXPECT_NE(test::readFile(copy).find("<plist"), std::string::npos);

  ASSERT_RESULT(ParseFileToDict(copy, read), 0);
  const Held<CFDictionaryRef> second(read);
  std::string location;
  EXPECT_RESULT(CFStringToSTDString(static_cast<CFStringRef>(
                                        CFDictionaryGetValue(second.get(), string("UILogLocation").get())),
                                    location),
                0);
  EXPECT_EQ(location, "/var/log/\xc3\xbc");
  std::uint32_t count = 0;
  EXPECT_RESULT(
      CFNumberToUnsignedInt(
          static_cast<CFNumberRef>(CFDictionaryGetValue(second.get(), string("Count").get())), count),
      0);
  EXPECT_EQ(count, 7U);
}

TEST_F(CoreFoundationTest, EmptyPathsAndNullDictionariesAreBadInputWithoutARecord) {
  bool exists = true;
  CFDictionaryRef read = nullptr;
  expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {}, [&] { return FileExistsAtPath("", exists); });
  expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {}, [&] { return ParseFileToDict("", read); });
  expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {}, [&] { return WriteDictionaryToFile("/tmp/x", nullptr); });
  const Held<CFStringRef> any = string("any");
  expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {},
                [&] { return WriteDictionaryToFile("", reinterpret_cast<CFDictionaryRef>(any.get())); });
  EXPECT_FALSE(exists);
}

TEST_F(CoreFoundationTest, PathThatThePlatformCannotTakeIsLoggedByEveryFileOperation) {
  bool exists = true;
  CFDictionaryRef read = nullptr;
  const Held<CFStringRef> any = string("any");
  const std::function<ResultCode()> calls[] = {
      [&] { return FileExistsAtPath("/tmp/x", exists); },
      [&] { return ParseFileToDict("/tmp/x", read); },
      [&] { return WriteDictionaryToFile("/tmp/x", reinterpret_cast<CFDictionaryRef>(any.get())); },
  };
  for (const std::function<ResultCode()>& call : calls) {
    platform::failNext("CFStringCreateWithCString");
    expectFailure(GLOBAL_ERROR_UNEXPECTED, {"CFStringCreateWithCString returned NULL."}, call);
    platform::failNext("CFURLCreateWithFileSystemPath");
    expectFailure(GLOBAL_ERROR_UNEXPECTED, {"CFURLCreateWithFileSystemPath returned NULL."}, call);
  }
}

TEST_F(CoreFoundationTest, FileThatCannotBeReadIsLoggedWithThePlatformsCode) {
  const TempFolder folder;
  CFDictionaryRef read = nullptr;
  expectFailure(GLOBAL_ERROR_UNEXPECTED,
                {"CFURLCreateDataAndPropertiesFromResource returned with error code: -15"},
                [&] { return ParseFileToDict(folder.path() + "/none", read); });
}

TEST_F(CoreFoundationTest, FileWithoutDataIsLoggedAsAWarning) {
  CFDictionaryRef read = nullptr;
  platform::failNext("data of CFURLCreateDataAndPropertiesFromResource");
  expectFailure(
      GLOBAL_ERROR_UNEXPECTED, {"Could not get data from plist file."},
      [&] { return ParseFileToDict("/tmp/x", read); }, kLogWarning);
}

// The platform tells of a list, of a reason, of both or of neither.
TEST_F(CoreFoundationTest, FileThatIsNoPropertyListIsLoggedWithAndWithoutTheReason) {
  const TempFolder folder;
  const std::string path = folder.path() + "/list.plist";
  test::writeFile(path, "<plist><dict><key>open");
  CFDictionaryRef read = nullptr;
  const auto call = [&] { return ParseFileToDict(path, read); };
  const std::string noList = "CFPropertyListCreateFromXMLData returned NULL.";
  const std::string reason = "CFPropertyListCreateFromXMLData returned with error: ";

  platform::setListReason("an odd text");
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {noList, reason + "an odd text"}, call);
  EXPECT_EQ(read, nullptr);
  platform::failNext("errorText of CFPropertyListCreateFromXMLData");
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {noList}, call);
  EXPECT_EQ(read, nullptr);
}

TEST_F(CoreFoundationTest, PropertyListThatComesWithAnErrorIsRefused) {
  const ListFile file("<dict></dict>");
  CFDictionaryRef read = nullptr;
  platform::setListReason("half of it");
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {"CFPropertyListCreateFromXMLData returned with error: half of it"},
                [&] { return ParseFileToDict(file.path, read); });
  EXPECT_EQ(read, nullptr);
}

TEST_F(CoreFoundationTest, PropertyListWithAnArrayAsItsRootIsRefused) {
  const ListFile file("<array><string>a</string></array>");
  CFDictionaryRef read = nullptr;
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {"Unexpect plist type."},
                [&] { return ParseFileToDict(file.path, read); });
  EXPECT_EQ(read, nullptr);
}

TEST_F(CoreFoundationTest, FailedWriteNamesTheReadingCall) {
  const ListFile file("<dict></dict>");
  CFDictionaryRef read = nullptr;
  ASSERT_RESULT(ParseFileToDict(file.path, read), 0);
  const Held<CFDictionaryRef> list(read);
  expectFailure(GLOBAL_ERROR_UNEXPECTED,
                {"CFURLCreateDataAndPropertiesFromResource returned with error code: -10"},
                [&] { return WriteDictionaryToFile(file.folder.path() + "/none/list", list.get()); });
  platform::failNext("CFPropertyListCreateXMLData");
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {"CFPropertyListCreateXMLData returned NULL."},
                [&] { return WriteDictionaryToFile(file.path, list.get()); });
}

// Dates.

TEST_F(CoreFoundationTest, TimeFromNowHasTheFormatAndLaterTimesCompareAsLater) {
  std::string now;
  std::string later;
  ASSERT_RESULT(FormatTimeFromNow(0, now), 0);
  ASSERT_RESULT(FormatTimeFromNow(7200, later), 0);
  ASSERT_EQ(now.size(), std::strlen("MM-dd-yy HH:mm:ss:SSS")) << now;
  EXPECT_EQ(now[2], '-');
  EXPECT_EQ(now[8], ' ');
  EXPECT_EQ(now[17], ':');
  int order = 7;
  EXPECT_RESULT(CompareDateTexts(now, later, order), 0);
  EXPECT_EQ(order, -1);
  EXPECT_RESULT(CompareDateTexts(later, now, order), 0);
  EXPECT_EQ(order, 1);
  EXPECT_RESULT(CompareDateTexts(now, now, order), 0);
  EXPECT_EQ(order, 0);
}

TEST_F(CoreFoundationTest, TimeTakesAnotherFormat) {
  std::string year;
  ASSERT_RESULT(FormatTimeFromNow(0, year, "yyyy"), 0);
  EXPECT_EQ(year.size(), 4U);
  int order = 7;
  EXPECT_RESULT(CompareDateTexts("2019-05", "2020-04", order, "yyyy-MM"), 0);
  EXPECT_EQ(order, -1);
}

TEST_F(CoreFoundationTest, DateOrFormatterThatCannotBeMadeHasTheCodeOfAnAllocation) {
  std::string text;
  for (const char* call : {"CFDateCreate", "CFDateFormatterCreate", "CFDateFormatterCreateStringWithDate",
                           "CFLocaleCopyCurrent", "CFStringCreateWithCString"}) {
    platform::failNext(call);
    expectFailure(GLOBAL_ERROR_MEMALLOC_FAILED, {}, [&] { return FormatTimeFromNow(0, text); });
  }
  int order = 7;
  const char* const good = "01-01-20 00:00:00:000";
  for (const char* call : {"CFDateFormatterCreate", "CFStringCreateWithCString"}) {
    platform::failNext(call);
    expectFailure(GLOBAL_ERROR_MEMALLOC_FAILED, {}, [&] { return CompareDateTexts(good, good, order); });
  }
  expectFailure(GLOBAL_ERROR_MEMALLOC_FAILED, {}, [&] { return CompareDateTexts("no date", good, order); });
  expectFailure(GLOBAL_ERROR_MEMALLOC_FAILED, {}, [&] { return CompareDateTexts(good, "no date", order); });
  EXPECT_EQ(order, 0);
}

// Holders.

TEST_F(CoreFoundationTest, HolderIsTakenForTheObjectInIt) {
  CFNumberRef made = nullptr;
  ASSERT_RESULT(UnsignedIntToCFNumber(7, made), 0);
  const Held<CFNumberRef> number(made);
  std::uint32_t small = 0;
  EXPECT_RESULT(CFNumberToUnsignedInt(number, small), 0);
  EXPECT_EQ(small, 7U);
  std::uint64_t large = 0;
  EXPECT_RESULT(CFNumberToUnsignedLong(number, large), 0);
  EXPECT_EQ(large, 7U);

  const Held<CFDataRef> four = data(4);
  std::vector<std::uint8_t> bytes;
  EXPECT_RESULT(CFDataToVector(four, bytes), 0);
  EXPECT_EQ(bytes, std::vector<std::uint8_t>(4, 0x5a));
  sockaddr_storage address;
  EXPECT_RESULT(CFDataToSockaddr(four, address), 0);
  EXPECT_EQ(std::memcmp(&address, bytes.data(), bytes.size()), 0);
  std::int32_t socket = 0;
  EXPECT_RESULT(CFDataToSocket(four, socket), 0);
  EXPECT_EQ(socket, 0x5a5a5a5a);

  platform::setDirectPointers(false);
  std::string text;
  EXPECT_RESULT(CFStringToSTDString(string("text"), text), 0);
  EXPECT_EQ(text, "text");
  EXPECT_RESULT(CFStringToSTDString(string("text"), text, 4), GLOBAL_ERROR_UNEXPECTED);

  const ListFile file("<dict></dict>");
  CFDictionaryRef read = nullptr;
  ASSERT_RESULT(ParseFileToDict(file.path, read), 0);
  const Held<CFDictionaryRef> list(read);
  EXPECT_RESULT(WriteDictionaryToFile(file.folder.path() + "/copy.plist", list), 0);
  EXPECT_TRUE(test::exists(file.folder.path() + "/copy.plist"));
}

TEST_F(CoreFoundationTest, HolderOfNothingIsANullObject) {
  std::uint32_t small = 77;
  std::uint64_t large = 77;
  std::vector<std::uint8_t> bytes;
  sockaddr_storage address;
  std::int32_t socket = 7;
  const Held<CFNumberRef> number;
  const Held<CFDataRef> none;
  const std::string noNumber = "CFNumberRef is NULL";
  const std::string noData = "CFDataRef is NULL";
  expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {noNumber}, [&] { return CFNumberToUnsignedInt(number, small); });
  expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {noNumber},
                [&] { return CFNumberToUnsignedLong(number, large); });
  expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {noData}, [&] { return CFDataToVector(none, bytes); });
  expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {noData}, [&] { return CFDataToSockaddr(none, address); });
  expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {noData}, [&] { return CFDataToSocket(none, socket); });
  std::string text = "left over";
  EXPECT_RESULT(CFStringToSTDString(Held<CFStringRef>(), text), 0);
  EXPECT_EQ(text, "");
  expectFailure(GLOBAL_ERROR_BAD_PARAMETER, {},
                [&] { return WriteDictionaryToFile("/tmp/x", Held<CFDictionaryRef>()); });
}

// Connection texts.

TEST_F(CoreFoundationTest, ConnectionTextIsTakenApartAtItsFirstAtSign) {
  std::string before;
  std::string behind;
  EXPECT_RESULT(SplitConnectionText("ipsec://user@host@more", before, behind), 0);
  EXPECT_EQ(before, "user");
  EXPECT_EQ(behind, "host@more");
  EXPECT_RESULT(SplitConnectionText("name=ipsec://host", before, behind), 0);
  EXPECT_EQ(before, "host");
  EXPECT_EQ(behind, "");
}

TEST_F(CoreFoundationTest, ConnectionTextWithoutItsPrefixFails) {
  std::string before = "left over";
  std::string behind = "left over";
  expectFailure(GLOBAL_ERROR_UNEXPECTED, {},
                [&] { return SplitConnectionText("https://user@host", before, behind); });
  EXPECT_EQ(before + behind, "");
}

}  // namespace
}  // namespace halvo
