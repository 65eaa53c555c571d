// A certificate authority and a server certificate for localhost, new for each run.
#pragma once

#include <filesystem>
#include <memory>

struct ssl_ctx_st;
struct x509_st;

namespace gravlin::loopback {

enum class Identity {
  kGood,           // localhost and 127.0.0.1, issued by the given authority
  kExpired,        // expired yesterday
  kWrongHost,      // issued for another host
  kSelfSigned,     // issued by itself
  kUnknownIssuer,  // issued by another authority
};

class Certificates {
 public:
  explicit Certificates(Identity identity = Identity::kGood);

  // The authority's certificate as PEM, for clients to trust.
  void WriteAuthority(const std::filesystem::path& file) const;
  // What a server needs: TLS 1.2 or newer, the certificate and its key.
  ssl_ctx_st* ServerContext() const { return context_.get(); }

 private:
  std::shared_ptr<x509_st> authority_;
  std::shared_ptr<ssl_ctx_st> context_;
};

}  // namespace gravlin::loopback
