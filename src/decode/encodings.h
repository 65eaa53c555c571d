// How the body of an article is encoded, what of it a decoder is to read, and the file name that it
// gives.
//
// An article's headers end at the first empty line (CR LF CR LF) that begins within its first 5,000
// bytes; an article without one counts as having no headers.  Case is ignored in words.
#pragma once

#include <string>
#include <string_view>

namespace gravlin::Code {

// "yEnc", "UU", "Base64" or empty.
std::string DetermineEncoding(std::string_view text);

// What UUCoderStream is to read of an article: its body without the line that closed the article.
// A view of `text`.
std::string_view StripUU(std::string_view text);

// What Base64Stream is to read of an article: the first encoded MIME part.  A later article of a
// post has no MIME header and is kept with its article headers.  A view of `text`.
std::string_view StripBase64(std::string_view text);

// The file name that the body gives, trimmed but otherwise as the poster wrote it; empty if there
// is none.
std::string ExtractFilenameFromBody(std::string_view text);

}  // namespace gravlin::Code
