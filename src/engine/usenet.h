// The module Usenet: what is known of replies without a connection.
#pragma once

#include <string_view>

namespace gravlin::Usenet {

// Whether a reply that ends in these bytes (its last five at most) is whole: a dot alone on its
// line, ended by CR LF, LF or CR (RFC 3977, section 3.1.1).
bool EndOfResponse(std::string_view tail);

}  // namespace gravlin::Usenet
