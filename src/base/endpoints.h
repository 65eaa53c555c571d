// Every web address that the program knows.  Vendor and providers are in the reserved `.example`
// domain unless the build names others.
#pragma once

#include <string>
#include <string_view>

#ifndef GRAVLIN_VENDOR_SITE
#define GRAVLIN_VENDOR_SITE "https://www.ardentis.example"
#endif
#ifndef GRAVLIN_TIDEWIRE_SITE
#define GRAVLIN_TIDEWIRE_SITE "http://www.tidewire.example"
#endif
#ifndef GRAVLIN_HUSHROUTE_SITE
#define GRAVLIN_HUSHROUTE_SITE "https://www.hushroute.example"
#endif

namespace gravlin::endpoints {

// A page of the vendor's web site; `path` begins with a slash and may carry a query.
inline std::string Vendor(std::string_view path) {
  return std::string(GRAVLIN_VENDOR_SITE).append(path);
}

inline constexpr std::string_view kAffiliateQuery = "?a_aid=gravlin&a_bid=wizard&chan=app";

inline std::string Tidewire() {
  return std::string(GRAVLIN_TIDEWIRE_SITE "/").append(kAffiliateQuery);
}
inline std::string Hushroute() {
  return std::string(GRAVLIN_HUSHROUTE_SITE "/").append(kAffiliateQuery);
}

}  // namespace gravlin::endpoints
