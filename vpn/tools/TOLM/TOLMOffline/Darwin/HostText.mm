#import "vpn/tools/TOLM/TOLMOffline/Darwin/HostText.h"

namespace halvo {

NSString* hostText(const std::string& utf8) {
  // The second takes any bytes, so that a name in another encoding is shown oddly and not left out.
  for (const NSStringEncoding encoding : {NSUTF8StringEncoding, NSISOLatin1StringEncoding}) {
    NSString* text = [[NSString alloc] initWithBytes:utf8.data() length:utf8.size() encoding:encoding];
    if (text != nil) {
      return [text autorelease];
    }
  }
  return @"";
}

std::string textOf(NSString* text) {
  const char* utf8 = [text UTF8String];
  return utf8 == nullptr ? std::string() : std::string(utf8);
}

}  // namespace halvo
