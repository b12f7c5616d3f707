// Report: a bundle as one page for the browser. The page is whole by itself: it asks nobody for anything, and
// its content security policy forbids that to whatever might get into it.
//
// Bounded: of a file above 256 KiB the first and last 128 KiB, the page 25 MiB; what is left out is told on
// it. Memory is flat with the size of the bundle. Its parts are made on two threads.

#pragma once

#include <cstddef>
#include <string>

#include "vpn/tools/TOLM/TOLMBundle/BundleContent.h"
#include "vpn/tools/TOLM/TOLMBundle/findings/Rules.h"

namespace halvo {

inline constexpr std::size_t kLongestPage = std::size_t{25} << 20U;

// Writes the page to `path` as PageFile does, or prints it. Returns a text for people, empty on success.
[[nodiscard]] std::string writeReport(const BundleContent& content, const RuleSet& rules,
                                      const std::string& path);

}  // namespace halvo
