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
        CREATE INDEX IF NOT EXISTS site_objects_by_site ON site_objects(site_id);
        CREATE TABLE IF NOT EXISTS object_data (
            object_id TEXT PRIMARY KEY REFERENCES site_objects(id),
            data TEXT NOT NULL);)");
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

bool SiteStore::deleteSite(const std::string& id)
{
    auto connection = m_database.connect();
    Transaction transaction(connection);
    connection.prepare("DELETE FROM object_data WHERE object_id IN (SELECT id FROM site_objects WHERE site_id = ?1)")
        .bind(1, id)
        .run();
    connection.prepare("DELETE FROM site_objects WHERE site_id = ?1").bind(1, id).run();
    connection.prepare("DELETE FROM sites WHERE id = ?1").bind(1, id).run();
    const bool deleted = connection.changes() > 0;
    transaction.commit();
    return deleted;
}

std::optional<SiteRecord> SiteStore::Edit::site()
{
    return m_connection.prepare(std::string("SELECT ") + kSiteColumns + " FROM sites WHERE id = ?1")
        .bind(1, m_siteId)
        .firstRow(readSite);
}

void SiteStore::Edit::touchSite(const std::string& when)
{
    m_connection.prepare("UPDATE sites SET modified = ?1 WHERE id = ?2").bindAll(when, m_siteId).run();
}

std::optional<SiteObject> SiteStore::Edit::object(const std::string& id)
{
    return m_connection
        .prepare(std::string("SELECT ") + kObjectColumns + " FROM site_objects WHERE id = ?1 AND site_id = ?2")
        .bindAll(id, m_siteId)
        .firstRow(readObject);
}

std::optional<SiteObject> SiteStore::Edit::firstOfKind(const std::string& kind, const std::string& parentId)
{
    return m_connection
        .prepare(std::string("SELECT ") + kObjectColumns +
                 " FROM site_objects WHERE site_id = ?1 AND kind = ?2 AND parent_id = ?3 ORDER BY rowid LIMIT 1")
        .bindAll(m_siteId, kind, parentId)
        .firstRow(readObject);
}

void SiteStore::Edit::put(const SiteObject& object)
{
    // An update in place keeps the object's rowid, and so its place among
    // its siblings.
    m_connection
        .prepare("UPDATE site_objects SET parent_id = ?1, kind = ?2, name = ?3, modified = ?4, details = ?5 "
                 "WHERE id = ?6 AND site_id = ?7")
        .bindAll(object.parentId, object.kind, object.name, object.modificationDate,
                 nlohmann::json(object.details).dump(), object.id, m_siteId)
        .run();
    if (m_connection.changes() > 0) {
        return;
    }
    m_connection
        .prepare(std::string("INSERT INTO site_objects (") + kObjectColumns + ") VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)")
        .bindAll(object.id, m_siteId, object.parentId, object.kind, object.name, object.modificationDate,
                 nlohmann::json(object.details).dump())
        .run();
}

void SiteStore::Edit::removeDescendants(const std::string& id)
{
    const char* descendants = R"(
        WITH RECURSIVE below(id) AS (
            SELECT id FROM site_objects WHERE parent_id = ?1 AND site_id = ?2
            UNION SELECT o.id FROM site_objects o JOIN below ON o.parent_id = below.id WHERE o.site_id = ?2)
        )";
    m_connection.prepare(std::string(descendants) + "DELETE FROM object_data WHERE object_id IN (SELECT id FROM below)")
        .bindAll(id, m_siteId)
        .run();
    m_connection.prepare(std::string(descendants) + "DELETE FROM site_objects WHERE id IN (SELECT id FROM below)")
        .bindAll(id, m_siteId)
        .run();
}

std::string SiteStore::Edit::data(const std::string& objectId)
{
    return m_connection.prepare("SELECT data FROM object_data WHERE object_id = ?1")
        .bind(1, objectId)
        .firstRow([](const Statement& row) { return row.text(0); })
        .value_or(std::string());
}

void SiteStore::Edit::setData(const std::string& objectId, const std::string& json)
{
    m_connection
        .prepare("INSERT INTO object_data (object_id, data) VALUES (?1, ?2) "
                 "ON CONFLICT(object_id) DO UPDATE SET data = excluded.data")
        .bindAll(objectId, json)
        .run();
}

} // namespace lithmar::local
