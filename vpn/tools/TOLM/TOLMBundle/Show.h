// Show: what a bundle holds and lacks, as text for people and as JSON for programs.

#pragma once

#include <functional>
#include <string>
#include <vector>

#include "vpn/tools/TOLM/TOLMBundle/BundleContent.h"

namespace halvo {

// A captured output that looks like a failure, or a file whose front can't be read, as its bytes are damaged.
struct FailedOutput {
  std::size_t file = 0;  // of BundleContent::files()
  std::string why;
  bool isUnread = false;
};

// Looks at the front of every file.
std::vector<FailedOutput> findFailedOutputs(const BundleContent& content);

// Takes the next piece of a text.
using TextSink = std::function<void(const std::string& text)>;

// Both end with a line feed. The text holds no control characters but line feeds; the JSON's strings are what
// the bundle says, with bytes that aren't UTF-8 replaced. The JSON is written entry by entry: it is never in
// memory as a whole.
std::string showText(const BundleContent& content, const std::vector<FailedOutput>& failed);
void showJson(const BundleContent& content, const std::vector<FailedOutput>& failed, const TextSink& sink);

// The files of one item, what is missing of it, and whether nobody asked for it. Nothing where the bundle
// doesn't know the item.
std::string showItemText(const BundleContent& content, const std::string& id);
// Whether the bundle knows the item.
bool showItemJson(const BundleContent& content, const std::string& id, const TextSink& sink);

}  // namespace halvo
