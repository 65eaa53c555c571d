// The values of `State`, which says where the exchange with the news server stands; shown by
// docs/nntp.md as a picture and a table.
#pragma once

#include <string_view>

namespace gravlin::states {

inline constexpr std::string_view kConnect = "connect";  // until the greeting
inline constexpr std::string_view kSentUsername = "sent username";
inline constexpr std::string_view kSentPassword = "sent password";
inline constexpr std::string_view kSentGroup = "sent group";
inline constexpr std::string_view kSentArticle = "sent article";
inline constexpr std::string_view kReceivingArticle = "receiving article";
inline constexpr std::string_view kGotArticle = "got article";    // within one tick
inline constexpr std::string_view kArticleDone = "article done";  // saved, joined or decoded
inline constexpr std::string_view kSentQuit = "sent quit";
inline constexpr std::string_view kLoggedOff = "logged off";

}  // namespace gravlin::states
