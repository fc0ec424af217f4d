#include "Certificates.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <stdexcept>
#include <type_traits>

namespace lithmar::test {
namespace {

template <class T, void (*Free)(T*)> using Owned = std::unique_ptr<T, std::integral_constant<decltype(Free), Free>>;

void check(bool ok, const char* step)
{
    if (!ok) {
        throw std::runtime_error(std::string("making the test certificate failed at ") + step);
    }
}

template <class Write> std::string pemOf(Write write)
{
    Owned<BIO, BIO_free_all> bio(BIO_new(BIO_s_mem()));
    check(bio && write(bio.get()) > 0, "PEM");
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return std::string(data, static_cast<std::size_t>(size));
}

} // namespace

Certificate makeLoopbackCertificate()
{
    Owned<EVP_PKEY, EVP_PKEY_free> key(EVP_EC_gen("P-256"));
    check(key != nullptr, "key");
    Owned<X509, X509_free> certificate(X509_new());
    X509* cert = certificate.get();
    check(cert && X509_set_version(cert, 2) && ASN1_INTEGER_set(X509_get_serialNumber(cert), 1) &&
              X509_gmtime_adj(X509_getm_notBefore(cert), -60) && X509_gmtime_adj(X509_getm_notAfter(cert), 24 * 3600) &&
              X509_set_pubkey(cert, key.get()),
          "fields");
    X509_NAME* name = X509_get_subject_name(cert);
    check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("127.0.0.1"), -1,
                                     -1, 0) &&
              X509_set_issuer_name(cert, name),
          "subject");
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, cert, cert, nullptr, nullptr, 0);
    Owned<X509_EXTENSION, X509_EXTENSION_free> alternativeName(
        X509V3_EXT_conf_nid(nullptr, &context, NID_subject_alt_name, "IP:127.0.0.1"));
    check(alternativeName && X509_add_ext(cert, alternativeName.get(), -1), "alternative name");
    check(X509_sign(cert, key.get(), EVP_sha256()) > 0, "signature");

    return {pemOf([&](BIO* bio) { return PEM_write_bio_X509(bio, cert); }),
            pemOf([&](BIO* bio) {
                return PEM_write_bio_PrivateKey(bio, key.get(), nullptr, nullptr, 0, nullptr, nullptr);
            })};
}

std::shared_ptr<boost::asio::ssl::context> serverTls(const Certificate& certificate)
{
    auto context = std::make_shared<boost::asio::ssl::context>(boost::asio::ssl::context::tls_server);
    context->use_certificate_chain(boost::asio::buffer(certificate.certificatePem));
    context->use_private_key(boost::asio::buffer(certificate.privateKeyPem), boost::asio::ssl::context::pem);
    return context;
}

} // namespace lithmar::test
