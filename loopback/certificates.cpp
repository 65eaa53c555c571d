// Certificates made for one run.
#include "loopback/certificates.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <stdexcept>

namespace gravlin::loopback {
namespace {

template <auto Free>
struct Freer {
  template <class T>
  void operator()(T* made) const {
    Free(made);
  }
};
using Key = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Freer<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Freer<X509_EXTENSION_free>>;

void Must(bool done, const char* step) {
  if (!done) throw std::runtime_error(std::string("certificate: ") + step);
}

constexpr long kDay = 24 * 60 * 60;

void AddExtension(X509* certificate, int kind, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  Extension extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value));
  Must(extension && X509_add_ext(certificate, extension.get(), -1) == 1, "extension");
}

// For the hosts, or as an authority if there are none; signed by itself if there is no issuer.
Certificate Issue(const std::string& name, const char* hosts, long until, EVP_PKEY* key,
                  X509* issuer, EVP_PKEY* issuer_key) {
  static long serial = 1000;
  Certificate made(X509_new());
  X509_set_version(made.get(), X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(made.get()), ++serial);
  X509_gmtime_adj(X509_getm_notBefore(made.get()), -2 * kDay);
  X509_gmtime_adj(X509_getm_notAfter(made.get()), until);
  X509_set_pubkey(made.get(), key);
  X509_NAME* subject = X509_get_subject_name(made.get());
  X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_UTF8,
                             reinterpret_cast<const unsigned char*>(name.c_str()), -1, -1, 0);
  X509_set_issuer_name(made.get(), issuer ? X509_get_subject_name(issuer) : subject);
  AddExtension(made.get(), NID_basic_constraints, hosts ? "critical,CA:FALSE" : "critical,CA:TRUE");
  if (hosts) AddExtension(made.get(), NID_subject_alt_name, hosts);
  Must(X509_sign(made.get(), issuer_key, EVP_sha256()) > 0, "signature");
  return made;
}

}  // namespace

Certificates::Certificates(Identity identity) {
  // Each gets a name of its own, because a client may trust several.
  static int authorities = 0;
  const std::string name = "Gravlin test authority " + std::to_string(++authorities);
  Key authority_key(EVP_EC_gen("P-256")), key(EVP_EC_gen("P-256"));
  const auto make_authority = [&](const std::string& called) {
    return Issue(called, nullptr, 30 * kDay, authority_key.get(), nullptr, authority_key.get());
  };
  std::shared_ptr<X509> authority = make_authority(name);
  authority_ = authority;
  if (identity == Identity::kUnknownIssuer) {
    authority_key.reset(EVP_EC_gen("P-256"));
    authority = make_authority("Another authority");
  }
  const bool self_signed = identity == Identity::kSelfSigned;
  const Certificate certificate = Issue(
      "News server",
      identity == Identity::kWrongHost ? "DNS:elsewhere.example" : "DNS:localhost,IP:127.0.0.1",
      identity == Identity::kExpired ? -kDay : 30 * kDay, key.get(),
      self_signed ? nullptr : authority.get(), self_signed ? key.get() : authority_key.get());

  context_.reset(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
  SSL_CTX_set_min_proto_version(context_.get(), TLS1_2_VERSION);
  Must(SSL_CTX_use_certificate(context_.get(), certificate.get()) == 1 &&
           SSL_CTX_use_PrivateKey(context_.get(), key.get()) == 1,
       "server context");
}

void Certificates::WriteAuthority(const std::filesystem::path& file) const {
  const std::unique_ptr<FILE, int (*)(FILE*)> out(std::fopen(file.c_str(), "wb"), std::fclose);
  Must(out && PEM_write_X509(out.get(), authority_.get()) == 1, "PEM");
}

}  // namespace gravlin::loopback
