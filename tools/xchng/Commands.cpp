#include "Commands.h"

#include "SessionFile.h"
#include "Table.h"

#include <lithmar/runtime/Utf8.h>

#include <boost/asio/ssl/context.hpp>

#include <filesystem>
#include <fstream>
#include <optional>
#include <stdexcept>

namespace lithmar::xchng {
namespace {

namespace lithmar = com::vantorel::lithmar;
namespace model = lithmar::exploration::model;
using lithmar::exploration::api::DataExchangeApi;
using lithmar::fromUtf8;
using lithmar::toUtf8;

std::string text(const web::json::value& node, const char* key)
{
    return node.has_string_field(key) ? node.at(key).as_string() : std::string();
}

// Prints one node of a site tree and its children, from the node's JSON so
// that every kind of node prints the same way.
void printNode(std::ostream& out, const web::json::value& node, const std::string& indent)
{
    std::string line = indent + "- " + text(node, "type") + " " + text(node, "name");
    if (!text(node, "id").empty()) {
        line += " [" + text(node, "id") + "]";
    }
    for (const char* detail : {"totalItems", "modificationDate", "parameters", "attributeName", "attributeValue"}) {
        if (!text(node, detail).empty()) {
            line += std::string("  ") + detail + "=" + text(node, detail);
        }
    }
    out << line << '\n';
    if (node.has_array_field("children")) {
        for (const auto& child : node.at("children").as_array()) {
            printNode(out, child, indent + "  ");
        }
    }
}

std::filesystem::path safeFileName(const std::wstring& name)
{
    // The name comes from the server: keep only its last component so that a
    // name like "../x" cannot write outside the chosen directory.
    const std::filesystem::path fileName = std::filesystem::path(toUtf8(name)).filename();
    if (fileName.empty() || fileName == "." || fileName == "..") {
        throw std::runtime_error("the service sent a file without a usable name: \"" + toUtf8(name) + "\"");
    }
    return fileName;
}

template <typename Result>
void printFiles(Result& result, const DownloadRequest& request, Output output)
{
    if (output.json) {
        output.out << result.toJson().serialize() << '\n';
    }
    Table files(request.outputDirectory.empty() ? std::vector<std::string>{"FILE", "BYTES"}
                                                : std::vector<std::string>{"FILE", "BYTES", "SAVED AS"});
    for (const auto& file : result.getFiles()) {
        if (!file) {
            continue;
        }
        const std::string data = toUtf8(file->getData());
        std::string savedAs;
        if (!request.outputDirectory.empty()) {
            const auto path = std::filesystem::path(request.outputDirectory) / safeFileName(file->getName());
            std::filesystem::create_directories(path.parent_path());
            std::ofstream stream(path, std::ios::binary);
            stream.write(data.data(), static_cast<std::streamsize>(data.size()));
            if (!stream) {
                throw std::filesystem::filesystem_error("cannot write the downloaded file", path,
                                                        std::make_error_code(std::errc::io_error));
            }
            savedAs = path.string();
        }
        files.add({toUtf8(file->getName()), std::to_string(data.size()), savedAs});
    }
    if (!output.json) {
        files.print(output.out);
    }
}

// The cookie `xchng signin` kept for the URL; none when there is no place
// for a session file (no HOME), as for a command run by a service account.
std::optional<std::string> keptSessionCookie(const std::string& url)
{
    try {
        return SessionFile().cookieFor(url);
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

} // namespace

std::shared_ptr<lithmar::ApiConfiguration> configure(const Connection& connection)
{
    auto configuration = std::make_shared<lithmar::ApiConfiguration>();
    configuration->setBaseUrl(fromUtf8(connection.url));
    auto& headers = configuration->getDefaultHeaders();
    for (const auto& header : connection.headers) {
        const auto colon = header.find(':');
        if (colon == std::string::npos || colon == 0) {
            throw std::invalid_argument("--header takes \"Name: value\", not \"" + header + "\"");
        }
        const auto valueStart = header.find_first_not_of(' ', colon + 1);
        headers[fromUtf8(header.substr(0, colon))] =
            fromUtf8(valueStart == std::string::npos ? std::string() : header.substr(valueStart));
    }
    if (headers.count(L"Cookie") == 0) {
        if (const auto cookie = keptSessionCookie(connection.url)) {
            headers[L"Cookie"] = fromUtf8(*cookie);
        }
    }
    configuration->getHttpConfig().set_timeout(
        std::chrono::microseconds(static_cast<long long>(connection.timeoutSeconds * 1e6)));
    if (!connection.caFile.empty()) {
        if (!std::ifstream(connection.caFile)) {
            throw std::invalid_argument("--ca-file: cannot read \"" + connection.caFile + "\"");
        }
        // Trusted besides the system's certificate authorities.
        configuration->getHttpConfig().set_ssl_context_callback(
            [file = connection.caFile](boost::asio::ssl::context& context) { context.load_verify_file(file); });
    }
    return configuration;
}

DataExchangeApi connect(const Connection& connection)
{
    return DataExchangeApi(std::make_shared<lithmar::ApiClient>(configure(connection)));
}

void listSites(DataExchangeApi& api, Output output)
{
    const auto result = api.getSites().get();
    if (output.json) {
        output.out << result->toJson().serialize() << '\n';
        return;
    }
    Table sites({"ID", "NAME", "CRS", "UNIT", "DESCRIPTION"});
    for (const auto& site : result->getSites()) {
        if (site) {
            sites.add({toUtf8(site->getId()), toUtf8(site->getName()), toUtf8(site->getCrs()),
                       toUtf8(site->getUnitofmeasure()), toUtf8(site->getDescription())});
        }
    }
    sites.print(output.out);
}

void createSite(DataExchangeApi& api, const std::string& name, Output output)
{
    auto command = std::make_shared<model::SiteCreateCommand>();
    command->setSiteName(fromUtf8(name));
    const auto result = api.createSite(command).get();
    if (output.json) {
        output.out << result->toJson().serialize() << '\n';
        return;
    }
    output.out << "created site " << toUtf8(result->getName()) << " [" << toUtf8(result->getId()) << "]\n";
}

void showSite(DataExchangeApi& api, const std::string& id, Output output)
{
    const auto result = api.getSite(fromUtf8(id)).get();
    if (output.json) {
        output.out << result->toJson().serialize() << '\n';
        return;
    }
    const auto tree = result->getTree();
    if (!tree) {
        output.out << "site " << id << " has no tree\n";
        return;
    }
    output.out << "site " << toUtf8(tree->getName()) << " [" << toUtf8(tree->getId()) << "]";
    if (!tree->getModificationDate().empty()) {
        output.out << "  modified " << toUtf8(tree->getModificationDate());
    }
    output.out << '\n';
    for (const auto& child : tree->getChildren()) {
        if (child) {
            printNode(output.out, child->toJson(), "  ");
        }
    }
}

void listCrs(DataExchangeApi& api, Output output)
{
    const auto result = api.getCrs().get();
    if (output.json) {
        output.out << result->toJson().serialize() << '\n';
        return;
    }
    Table systems({"ID", "NAME", "UNIT"});
    for (const auto& crs : result->getCrs()) {
        if (crs) {
            systems.add({toUtf8(crs->getId()), toUtf8(crs->getName()), toUtf8(crs->getUnitofmeasure())});
        }
    }
    systems.print(output.out);
}

void download(DataExchangeApi& api, const DownloadRequest& request, Output output)
{
    const auto id = fromUtf8(request.id);
    const auto format = fromUtf8(request.format);
    const auto detailLevel = fromUtf8(request.detailLevel);
    const auto crs = fromUtf8(request.crs);
    if (request.feature) {
        printFiles(*api.downloadGeologicFeature(id, format, detailLevel, crs).get(), request, output);
    } else {
        printFiles(*api.downloadGeologicModel(id, format, detailLevel, crs).get(), request, output);
    }
}

} // namespace lithmar::xchng
