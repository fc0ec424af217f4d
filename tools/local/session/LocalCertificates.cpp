#include <tools/local/session/LocalCertificates.h>

#include <boost/asio/ip/address.hpp>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <functional>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace lithmar::local {
namespace {

namespace fs = std::filesystem;

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;
using Bio = std::unique_ptr<BIO, decltype(&BIO_free)>;

constexpr long kCaDays = 3650;
// Clients refuse server certificates valid for longer than 398 days.
constexpr long kServerDays = 397;
constexpr std::time_t kRenewalMargin = 7 * 24 * 3600;

[[noreturn]] void fail(const std::string& step)
{
    char reason[256] = "no detail from OpenSSL";
    if (const unsigned long error = ERR_get_error()) {
        ERR_error_string_n(error, reason, sizeof reason);
    }
    ERR_clear_error();
    throw std::runtime_error("making the local TLS certificates failed while " + step + ": " + reason);
}

Key newKey()
{
    EVP_PKEY* key = EVP_EC_gen("P-256");
    if (!key) {
        fail("generating a key");
    }
    return Key(key, EVP_PKEY_free);
}

void addExtension(X509* certificate, X509* issuer, int nid, const std::string& value)
{
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str());
    if (!extension || X509_add_ext(certificate, extension, -1) != 1) {
        X509_EXTENSION_free(extension);
        fail("adding the extension " + std::string(OBJ_nid2sn(nid)) + " = " + value);
    }
    X509_EXTENSION_free(extension);
}

// A certificate for `key` named `commonName`, signed by `issuerKey` as
// `issuer` (itself when null).
Certificate newCertificate(const std::string& commonName, EVP_PKEY* key, X509* issuer, EVP_PKEY* issuerKey,
                           long days, const std::vector<std::pair<int, std::string>>& extensions)
{
    Certificate certificate(X509_new(), X509_free);
    unsigned char serial[16];
    if (!certificate || RAND_bytes(serial, sizeof serial) != 1) {
        fail("starting a certificate");
    }
    serial[0] &= 0x7F; // positive
    BIGNUM* number = BN_bin2bn(serial, sizeof serial, nullptr);
    const bool serialSet = number && BN_to_ASN1_INTEGER(number, X509_get_serialNumber(certificate.get()));
    BN_free(number);
    X509_NAME* name = X509_get_subject_name(certificate.get());
    if (!serialSet || X509_set_version(certificate.get(), 2) != 1 ||
        !X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600) ||
        !X509_gmtime_adj(X509_getm_notAfter(certificate.get()), days * 24 * 3600) ||
        X509_set_pubkey(certificate.get(), key) != 1 ||
        X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC,
                                   reinterpret_cast<const unsigned char*>("lithmar-local"), -1, -1, 0) != 1 ||
        X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                                   reinterpret_cast<const unsigned char*>(commonName.c_str()), -1, -1, 0) != 1 ||
        X509_set_issuer_name(certificate.get(), issuer ? X509_get_subject_name(issuer) : name) != 1) {
        fail("filling in the certificate " + commonName);
    }
    for (const auto& [nid, value] : extensions) {
        addExtension(certificate.get(), issuer ? issuer : certificate.get(), nid, value);
    }
    if (X509_sign(certificate.get(), issuerKey, EVP_sha256()) == 0) {
        fail("signing the certificate " + commonName);
    }
    return certificate;
}

std::string pemText(const std::function<int(BIO*)>& write, const char* what)
{
    Bio bio(BIO_new(BIO_s_mem()), BIO_free);
    if (!bio || write(bio.get()) != 1) {
        fail(std::string("writing the ") + what);
    }
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return std::string(data, static_cast<std::size_t>(size));
}

void writeFile(const fs::path& path, const std::string& text, mode_t mode)
{
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode);
    if (descriptor < 0) {
        throw fs::filesystem_error("cannot write", path, std::error_code(errno, std::generic_category()));
    }
    ::fchmod(descriptor, mode);
    const bool written = ::write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const bool closed = ::close(descriptor) == 0;
    if (!written || !closed) {
        throw fs::filesystem_error("cannot write", path, std::error_code(errno, std::generic_category()));
    }
}

void writeCertificate(const fs::path& path, X509* certificate)
{
    writeFile(path, pemText([certificate](BIO* bio) { return PEM_write_bio_X509(bio, certificate); }, "certificate"),
              0644);
}

void writeKey(const fs::path& path, EVP_PKEY* key)
{
    writeFile(path,
              pemText([key](BIO* bio) {
                  return PEM_write_bio_PrivateKey(bio, key, nullptr, nullptr, 0, nullptr, nullptr);
              }, "private key"),
              0600);
}

Certificate readCertificate(const fs::path& path)
{
    Bio bio(BIO_new_file(path.c_str(), "r"), BIO_free);
    Certificate certificate(bio ? PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr) : nullptr, X509_free);
    ERR_clear_error();
    return certificate;
}

Key readKey(const fs::path& path)
{
    Bio bio(BIO_new_file(path.c_str(), "r"), BIO_free);
    Key key(bio ? PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr) : nullptr, EVP_PKEY_free);
    ERR_clear_error();
    return key;
}

std::string readText(const fs::path& path)
{
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// "IP:127.0.0.1,DNS:localhost,..."
std::string alternativeNames(const std::vector<std::string>& names)
{
    std::string text;
    for (const std::string& name : names) {
        boost::system::error_code notAnAddress;
        boost::asio::ip::make_address(name, notAnAddress);
        text += (text.empty() ? "" : ",") + std::string(notAnAddress ? "DNS:" : "IP:") + name;
    }
    return text;
}

bool validForAWeekMore(X509* certificate)
{
    std::time_t then = std::time(nullptr) + kRenewalMargin;
    return X509_cmp_time(X509_get0_notAfter(certificate), &then) > 0;
}

} // namespace

std::vector<std::string> LocalCertificates::namesFor(const std::string& address)
{
    std::vector<std::string> names;
    boost::system::error_code notAnAddress;
    const auto parsed = boost::asio::ip::make_address(address, notAnAddress);
    if (!notAnAddress && parsed.is_unspecified()) {
        char host[256] = {};
        if (::gethostname(host, sizeof host - 1) == 0 && host[0] != '\0') {
            names.emplace_back(host);
        }
    } else {
        names.push_back(address);
    }
    for (const char* local : {"localhost", "127.0.0.1", "::1"}) {
        if (std::find(names.begin(), names.end(), local) == names.end()) {
            names.emplace_back(local);
        }
    }
    return names;
}

LocalCertificates::LocalCertificates(fs::path directory, std::vector<std::string> names)
    : m_caCertificate(directory / "ca.pem"), m_serverCertificate(directory / "server.pem"),
      m_serverKey(directory / "server-key.pem")
{
    if (!fs::exists(directory)) {
        fs::create_directories(directory);
        fs::permissions(directory, fs::perms::owner_all);
    }
    const fs::path caKeyPath = directory / "ca-key.pem";
    const fs::path namesPath = directory / "server-names.txt";
    const std::string subjectNames = alternativeNames(names);

    Certificate ca = readCertificate(m_caCertificate);
    Key caKey = readKey(caKeyPath);
    if (!ca || !caKey || X509_check_private_key(ca.get(), caKey.get()) != 1 || !validForAWeekMore(ca.get())) {
        ERR_clear_error();
        caKey = newKey();
        ca = newCertificate("lithmar-local CA", caKey.get(), nullptr, caKey.get(), kCaDays,
                            {{NID_basic_constraints, "critical,CA:TRUE,pathlen:0"},
                             {NID_key_usage, "critical,keyCertSign,cRLSign"},
                             {NID_subject_key_identifier, "hash"}});
        writeKey(caKeyPath, caKey.get());
        writeCertificate(m_caCertificate, ca.get());
    }

    Certificate server = readCertificate(m_serverCertificate);
    Key serverKey = readKey(m_serverKey);
    const bool reusable = server && serverKey && X509_check_private_key(server.get(), serverKey.get()) == 1 &&
                          X509_verify(server.get(), caKey.get()) == 1 && validForAWeekMore(server.get()) &&
                          readText(namesPath) == subjectNames;
    ERR_clear_error();
    if (!reusable) {
        serverKey = newKey();
        server = newCertificate(names.empty() ? "lithmar-local" : names.front(), serverKey.get(), ca.get(),
                                caKey.get(), kServerDays,
                                {{NID_basic_constraints, "critical,CA:FALSE"},
                                 {NID_key_usage, "critical,digitalSignature"},
                                 {NID_ext_key_usage, "serverAuth"},
                                 {NID_subject_key_identifier, "hash"},
                                 {NID_authority_key_identifier, "keyid:always"},
                                 {NID_subject_alt_name, subjectNames}});
        writeKey(m_serverKey, serverKey.get());
        writeCertificate(m_serverCertificate, server.get());
        writeFile(namesPath, subjectNames, 0644);
    }
}

std::shared_ptr<boost::asio::ssl::context> LocalCertificates::serverContext() const
{
    namespace ssl = boost::asio::ssl;
    auto context = std::make_shared<ssl::context>(ssl::context::tls_server);
    context->set_options(ssl::context::default_workarounds | ssl::context::no_sslv2 | ssl::context::no_sslv3 |
                         ssl::context::no_tlsv1 | ssl::context::no_tlsv1_1 | ssl::context::single_dh_use);
    context->use_certificate_chain_file(m_serverCertificate.string());
    context->use_private_key_file(m_serverKey.string(), ssl::context::pem);
    return context;
}

} // namespace lithmar::local
