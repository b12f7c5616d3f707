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

bool isReadFromTheRight(NSString* text) {
  long balance = 0;
  for (NSUInteger i = 0; i < [text length]; ++i) {
    const unsigned letter = [text characterAtIndex:i];
    const bool isOfTheRight =  // Hebrew, Arabic and their kin, and their forms for display
        (letter >= 0x590 && letter <= 0x8ff) || (letter >= 0xfb1d && letter <= 0xfdff) ||
        (letter >= 0xfe70 && letter <= 0xfefc);
    const bool isLatin = (letter >= 'A' && letter <= 'Z') || (letter >= 'a' && letter <= 'z');
    const bool isSign = letter < 0xc0 || (letter >= 0x2000 && letter <= 0x2bff);
    balance += isOfTheRight ? 1 : isLatin || !isSign ? -1 : 0;
  }
  return balance > 0;
}

}  // namespace halvo
