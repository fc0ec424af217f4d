#include "SiteCommands.h"

#include "Table.h"

#include <lithmar/runtime/Utf8.h>

namespace lithmar::xchng {
namespace {

namespace lithmar = com::vantorel::lithmar;
namespace model = lithmar::exploration::model;
using lithmar::fromUtf8;
using lithmar::toUtf8;
using lithmar::exploration::api::DataExchangeApi;

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

} // namespace

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

} // namespace lithmar::xchng
