// A TCP client with optional TLS and a receive buffer of its own.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/folder_item.h"

namespace gravlin {

class SSLSocket {
 public:
  SSLSocket();
  ~SSLSocket();
  SSLSocket(const SSLSocket&) = delete;
  SSLSocket& operator=(const SSLSocket&) = delete;

  // Drops blanks around the host, which pasted text may have.
  void SetAddress(std::string_view host);
  void SetPort(int port) { port_ = port; }
  void SetSecure(bool secure) { secure_ = secure; }
  // One of the codes 0 to 3 of the SSL menu.  Their names are those of protocols that nobody uses
  // any more: each code negotiates TLS 1.2 or newer, with the certificate checked against the
  // system's store and the host name.
  void SetConnectionType(int) {}

  // Starts connecting and returns.  An earlier connection is dropped and its buffer emptied.
  void Connect();
  // Connected, and with TLS the handshake done.
  bool IsConnected() const;
  // False, and nothing sent, when not connected.
  bool Write(std::string_view bytes);
  // The received and unread bytes; valid until any other operation or the next event.
  std::string_view Lookahead() const;
  // The received and unread bytes, taken out.
  std::string ReadAll();
  // The same without a copy: the memory of `to` is reused for the next reply.
  void ReadAll(std::string& to);
  // Drops the first `count` unread bytes.
  void Discard(std::size_t count);
  // Ends the connection.  What was received stays readable.
  void Disconnect();
  // Ends the connection at once.
  void Close();
  // Raises DataAvailable again from the event loop if there are unread bytes.
  void RaiseDataAvailable();

  // What ended the connection or kept it from being made, in words; empty if nothing did.
  const std::string& ErrorText() const;
  // The connection was made, and TLS then refused it: a certificate that cannot be trusted, or a
  // peer without TLS.  Nothing was sent on it.
  bool HandshakeFailed() const;
  // The connection could not be made at all: no such host, no listener, no such port.
  bool NotReached() const;

  // The most unread bytes that are kept.  Beyond it the bytes and the connection are dropped.
  static constexpr std::size_t kReceiveLimit = std::size_t{64} << 20;
  // True once, if that has happened since Connect.
  bool TakeOverflow();

  // Raised from the event loop, at most one pending.  An event that comes while a handler lets
  // events run is raised when the handler has ended.
  std::function<void()> DataAvailable;
  std::function<void()> Error;
  // Raised after the connection was dropped for kReceiveLimit.
  std::function<void()> Overflow;

  // Adds the certificates of a PEM file to those that this run trusts.  False if it holds none.
  static bool TrustCertificates(const FolderItem& file);

 private:
  struct Native;
  std::unique_ptr<Native> native_;
  std::string address_;
  int port_ = 0;
  bool secure_ = false;
};

}  // namespace gravlin
