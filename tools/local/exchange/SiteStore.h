#pragma once

#include <tools/local/exchange/Database.h>

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lithmar::local {

struct SiteRecord {
    std::string id;
    std::string name;
    std::string description;
    std::string crs;
    std::string unitOfMeasure;
    std::string modificationDate;
};

// One node of a site's tree: a collection, a geologic model, a feature...
// The kinds share one table: they differ only in a few text attributes
// (kept in `details`), and the tree is read whole, in creation order.
struct SiteObject {
    std::string id;
    std::string siteId;
    std::string parentId; // "" at the top of the site
    std::string kind;     // the "type" on the wire: "GeologicModel", "Feature"...
    std::string name;
    std::string modificationDate;
    std::map<std::string, std::string> details; // "totalItems", "attributeName"...
};

// The SQL of the sites and their trees.
class SiteStore {
public:
    explicit SiteStore(Database& database) : m_database(database) {}

    static void createTables(Database::Connection& connection);

    std::vector<SiteRecord> sites();
    std::optional<SiteRecord> site(const std::string& id);
    // Adds the site and its objects (parents before children) at once; false,
    // adding nothing, when a site already has that name.
    bool createSite(const SiteRecord& site, const std::vector<SiteObject>& objects = {});

    // The site's objects, parents before children, siblings in creation order.
    std::vector<SiteObject> objects(const std::string& siteId);
    std::optional<SiteObject> object(const std::string& id);
    // Removes the site, its tree and the tree's data; false when there was
    // no such site.
    bool deleteSite(const std::string& id);

    // Changes to one site inside the caller's transaction: an import writes
    // its objects, their data and its job's end together or not at all.
    class Edit {
    public:
        Edit(Database::Connection& connection, std::string siteId)
            : m_connection(connection), m_siteId(std::move(siteId))
        {
        }

        // nullopt when the site is gone.
        std::optional<SiteRecord> site();
        void touchSite(const std::string& when);
        std::optional<SiteObject> object(const std::string& id);
        // The first object of `kind` directly below `parentId` ("" for the top).
        std::optional<SiteObject> firstOfKind(const std::string& kind, const std::string& parentId);
        // Adds `object` to the site, or replaces the one with its id.
        void put(const SiteObject& object);
        // Removes everything below the object (not the object itself).
        void removeDescendants(const std::string& id);
        // The data an import keeps with an object (JSON text), "" for none.
        std::string data(const std::string& objectId);
        void setData(const std::string& objectId, const std::string& json);

    private:
        Database::Connection& m_connection;
        const std::string m_siteId;
    };

private:
    Database& m_database;
};

} // namespace lithmar::local
