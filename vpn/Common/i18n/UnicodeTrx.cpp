#include "vpn/Common/i18n/UnicodeTrx.h"

#include <cstdlib>
#include <vector>

#include "vpn/Common/Diagnostics/Log.h"

namespace halvo {

namespace {

constexpr std::size_t kFailed = static_cast<std::size_t>(-1);

}  // namespace

std::wstring UnicodeTrx::convertMultiByteToWide(const char* text) {
  if (text == nullptr) {
    LOG_RETURN_CODE(kLogError, "UnicodeTrx::convertMultiByteToWide", GLOBAL_ERROR_BAD_PARAMETER);
    return {};
  }
  // By the length first: it tells a text that can't be converted before there is half a result.
  const std::size_t length = std::mbstowcs(nullptr, text, 0);
  if (length == kFailed) {
    LOG_RETURN_CODE_TEXT(kLogError, "UnicodeTrx::convertMultiByteToWide", GLOBAL_ERROR_UNEXPECTED,
                         "Unable to convert input to wide character: %s", text);
    return {};
  }
  if (length == 0) {
    return {};
  }
  std::vector<wchar_t> buffer(length + 1);
  std::mbstowcs(buffer.data(), text, buffer.size());
  return {buffer.data(), length};
}

std::string UnicodeTrx::convertWideToMultibyte(const wchar_t* text) {
  if (text == nullptr) {
    LOG_RETURN_CODE(kLogError, "UnicodeTrx::convertWideToMultibyte", GLOBAL_ERROR_BAD_PARAMETER);
    return {};
  }
  const std::size_t length = std::wcstombs(nullptr, text, 0);
  if (length == kFailed) {
    // The log's own conversion of the text stops at the same character.
    LOG_RETURN_CODE_TEXT(kLogError, "UnicodeTrx::convertWideToMultibyte", GLOBAL_ERROR_UNEXPECTED,
                         "Unable to convert input to multibyte character: %ls", text);
    return {};
  }
  if (length == 0) {
    return {};
  }
  std::vector<char> buffer(length + 1);
  std::wcstombs(buffer.data(), text, buffer.size());
  return {buffer.data(), length};
}

std::string UnicodeTrx::convertWideToMultibyte(const std::wstring& text) {
  return convertWideToMultibyte(text.c_str());
}

}  // namespace halvo
