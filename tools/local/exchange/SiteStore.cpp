#include <tools/local/exchange/SiteStore.h>

#include <nlohmann/json.hpp>

namespace lithmar::local {
namespace {

constexpr const char* kSiteColumns = "id, name, description, crs, unit_of_measure, modified";
constexpr const char* kObjectColumns = "id, site_id, parent_id, kind, name, modified, details";

SiteRecord readSite(const Statement& row)
{
    return {row.text(0), row.text(1), row.text(2), row.text(3), row.text(4), row.text(5)};
}

SiteObject readObject(const Statement& row)
{
    SiteObject object{row.text(0), row.text(1), row.text(2), row.text(3), row.text(4), row.text(5), {}};
    object.details = nlohmann::json::parse(row.text(6)).get<std::map<std::string, std::string>>();
    return object;
}

} // namespace

void SiteStore::createTables(Database::Connection& connection)
{
    connection.execute(R"(
        CREATE TABLE IF NOT EXISTS sites (
            id TEXT PRIMARY KEY,
            name TEXT NOT NULL UNIQUE,
            description TEXT NOT NULL,
            crs TEXT NOT NULL,
            unit_of_measure TEXT NOT NULL,
            modified TEXT NOT NULL);
        CREATE TABLE IF NOT EXISTS site_objects (
            id TEXT PRIMARY KEY,
            site_id TEXT NOT NULL REFERENCES sites(id),
            parent_id TEXT NOT NULL,
            kind TEXT NOT NULL,
            name TEXT NOT NULL,
            modified TEXT NOT NULL,
            details TEXT NOT NULL);
        CREATE INDEX IF NOT EXISTS site_objects_by_site ON site_objects(site_id);)");
}

std::vector<SiteRecord> SiteStore::sites()
{
    auto connection = m_database.connect();
    return connection.prepare(std::string("SELECT ") + kSiteColumns + " FROM sites ORDER BY rowid").rows(readSite);
}

std::optional<SiteRecord> SiteStore::site(const std::string& id)
{
    auto connection = m_database.connect();
    return connection.prepare(std::string("SELECT ") + kSiteColumns + " FROM sites WHERE id = ?1")
        .bind(1, id)
        .firstRow(readSite);
}

bool SiteStore::createSite(const SiteRecord& site, const std::vector<SiteObject>& objects)
{
    auto connection = m_database.connect();
    Transaction transaction(connection);
    auto existing = connection.prepare("SELECT 1 FROM sites WHERE name = ?1");
    existing.bind(1, site.name);
    if (existing.step()) {
        return false;
    }
    connection.prepare(std::string("INSERT INTO sites (") + kSiteColumns + ") VALUES (?1, ?2, ?3, ?4, ?5, ?6)")
        .bindAll(site.id, site.name, site.description, site.crs, site.unitOfMeasure, site.modificationDate)
        .run();
    for (const SiteObject& object : objects) {
        connection
            .prepare(std::string("INSERT INTO site_objects (") + kObjectColumns +
                     ") VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)")
            .bindAll(object.id, site.id, object.parentId, object.kind, object.name, object.modificationDate,
                     nlohmann::json(object.details).dump())
            .run();
    }
    transaction.commit();
    return true;
}

std::vector<SiteObject> SiteStore::objects(const std::string& siteId)
{
    auto connection = m_database.connect();
    return connection
        .prepare(std::string("SELECT ") + kObjectColumns + " FROM site_objects WHERE site_id = ?1 ORDER BY rowid")
        .bind(1, siteId)
        .rows(readObject);
}

std::optional<SiteObject> SiteStore::object(const std::string& id)
{
    auto connection = m_database.connect();
    return connection.prepare(std::string("SELECT ") + kObjectColumns + " FROM site_objects WHERE id = ?1")
        .bind(1, id)
        .firstRow(readObject);
}

} // namespace lithmar::local
