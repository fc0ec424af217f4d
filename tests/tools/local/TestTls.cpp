#include "TestTls.h"

#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include <stdexcept>

namespace lithmar::local::testing {
namespace {

struct KeyDeleter {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct CertificateDeleter {
    void operator()(X509* certificate) const { X509_free(certificate); }
};

void check(bool ok, const char* step)
{
    if (!ok) {
        throw std::runtime_error(std::string("cannot make the test certificate: ") + step + " failed");
    }
}

} // namespace

std::shared_ptr<boost::asio::ssl::context> selfSignedServerTls()
{
    const std::unique_ptr<EVP_PKEY, KeyDeleter> key(EVP_EC_gen("P-256"));
    check(key != nullptr, "generating a key");
    const std::unique_ptr<X509, CertificateDeleter> certificate(X509_new());
    check(certificate != nullptr, "X509_new");
    X509* cert = certificate.get();
    constexpr long kOneDay = 24 * 60 * 60;
    check(X509_set_version(cert, 2) && ASN1_INTEGER_set(X509_get_serialNumber(cert), 1) &&
              X509_gmtime_adj(X509_getm_notBefore(cert), -60) && X509_gmtime_adj(X509_getm_notAfter(cert), kOneDay) &&
              X509_set_pubkey(cert, key.get()),
          "filling in the certificate");
    X509_NAME* name = X509_get_subject_name(cert);
    check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("127.0.0.1"), -1,
                                     -1, 0) &&
              X509_set_issuer_name(cert, name),
          "naming the certificate");
    check(X509_sign(cert, key.get(), EVP_sha256()) > 0, "signing the certificate");

    auto context = std::make_shared<boost::asio::ssl::context>(boost::asio::ssl::context::tls_server);
    check(SSL_CTX_use_certificate(context->native_handle(), cert) == 1 &&
              SSL_CTX_use_PrivateKey(context->native_handle(), key.get()) == 1,
          "loading the certificate");
    return context;
}

boost::asio::ssl::context trustingClientTls()
{
    boost::asio::ssl::context context(boost::asio::ssl::context::tls_client);
    context.set_verify_mode(boost::asio::ssl::verify_none);
    return context;
}

} // namespace lithmar::local::testing
