// One page by HTTP over the toolkit's network.
#include "platform/http_socket.h"

#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QTimer>

#include "platform/raise.h"
#include "platform/toolkit_text.h"

namespace gravlin {
namespace {

constexpr int kLimitMilliseconds = 30'000;
constexpr qint64 kLimitBytes = 1 << 20;
constexpr int kLimitRedirects = 10;

// True for a page that arrived completely, whatever its HTTP status.
bool HasPage(const QNetworkReply& reply) {
  const int error = reply.error();
  return error == QNetworkReply::NoError ||
         (error >= QNetworkReply::ContentAccessDenied &&
          error <= QNetworkReply::UnknownContentError) ||
         (error >= QNetworkReply::InternalServerError &&
          error <= QNetworkReply::UnknownServerError);
}

std::string HeadersOf(const QNetworkReply& reply) {
  QByteArray text;
  for (const auto& [name, value] : reply.rawHeaderPairs()) text += name + ": " + value + "\r\n";
  return text.toStdString();
}

}  // namespace

struct HTTPSocket::Native {
  QNetworkAccessManager manager;
  QPointer<QNetworkReply> reply;
  QByteArray content;

  void Drop() {
    if (!reply) return;
    reply->disconnect();
    reply->abort();
    reply->deleteLater();
    reply = nullptr;
  }
};

HTTPSocket::HTTPSocket() : native_(std::make_unique<Native>()) {
  native_->manager.setProxy(QNetworkProxy::NoProxy);
}

HTTPSocket::~HTTPSocket() { native_->Drop(); }

void HTTPSocket::Get(std::string_view url) {
  native_->Drop();
  native_->content.clear();
  const QUrl address(ToQt(url), QUrl::StrictMode);
  if ((address.scheme() != "http" && address.scheme() != "https") || address.host().isEmpty())
    return;
  QNetworkRequest request(address);
  request.setHeader(QNetworkRequest::UserAgentHeader, "Gravlin");
  request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                       QNetworkRequest::NoLessSafeRedirectPolicy);
  request.setMaximumRedirectsAllowed(kLimitRedirects);
  QNetworkReply* reply = native_->manager.get(request);
  native_->reply = reply;
  QTimer::singleShot(kLimitMilliseconds, reply, [this] { native_->Drop(); });
  QObject::connect(reply, &QNetworkReply::readyRead, [this, reply] {
    const QByteArray data = reply->readAll();
    native_->content += data;
    if (native_->content.size() > kLimitBytes) {
      native_->Drop();
      return;
    }
    const qint64 total = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
    Raise("ReceiveProgress", ReceiveProgress, native_->content.size(), total,
          std::string_view(data.data(), static_cast<std::size_t>(data.size())));
  });
  QObject::connect(reply, &QNetworkReply::finished, [this, reply] {
    reply->deleteLater();
    native_->reply = nullptr;
    if (!HasPage(*reply)) return;
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const std::string page_url = FromQt(reply->url().toString());
    const std::string content = native_->content.toStdString();
    Raise("PageReceived", PageReceived, page_url, status, HeadersOf(*reply), content);
  });
}

}  // namespace gravlin
