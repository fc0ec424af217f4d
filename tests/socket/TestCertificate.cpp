#include "TestCertificate.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>
#include <stdexcept>

namespace com::vantorel::lithmar::testing {
namespace {

template <class T, void (*Free)(T*)> using Owned = std::unique_ptr<T, std::integral_constant<decltype(Free), Free>>;

void check(int result, const char* what)
{
    if (result <= 0) {
        throw std::runtime_error(std::string("making the test certificate failed at ") + what);
    }
}

std::string pemOf(int (*write)(BIO*, void*), void* object)
{
    Owned<BIO, BIO_free_all> bio(BIO_new(BIO_s_mem()));
    check(write(bio.get(), object), "PEM");
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return std::string(data, static_cast<std::size_t>(size));
}

} // namespace

TestCertificate makeLoopbackCertificate()
{
    Owned<EVP_PKEY, EVP_PKEY_free> key(EVP_EC_gen("P-256"));
    check(key != nullptr, "key");
    Owned<X509, X509_free> certificate(X509_new());
    check(X509_set_version(certificate.get(), 2), "version");
    check(ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1), "serial");
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -60);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 24 * 3600);
    check(X509_set_pubkey(certificate.get(), key.get()), "public key");
    X509_NAME* name = X509_get_subject_name(certificate.get());
    check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("127.0.0.1"), -1,
                                     -1, 0),
          "subject");
    check(X509_set_issuer_name(certificate.get(), name), "issuer");
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, certificate.get(), certificate.get(), nullptr, nullptr, 0);
    Owned<X509_EXTENSION, X509_EXTENSION_free> alternativeName(
        X509V3_EXT_conf_nid(nullptr, &context, NID_subject_alt_name, "IP:127.0.0.1"));
    check(alternativeName != nullptr && X509_add_ext(certificate.get(), alternativeName.get(), -1), "alt name");
    check(X509_sign(certificate.get(), key.get(), EVP_sha256()), "signature");

    TestCertificate result;
    result.certificatePem = pemOf(
        [](BIO* bio, void* object) { return PEM_write_bio_X509(bio, static_cast<X509*>(object)); }, certificate.get());
    result.privateKeyPem = pemOf(
        [](BIO* bio, void* object) {
            return PEM_write_bio_PrivateKey(bio, static_cast<EVP_PKEY*>(object), nullptr, nullptr, 0, nullptr, nullptr);
        },
        key.get());
    return result;
}

} // namespace com::vantorel::lithmar::testing
