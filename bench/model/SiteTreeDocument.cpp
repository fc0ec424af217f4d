#include "SiteTreeDocument.h"

namespace lithmar_bench {
namespace {

class Writer {
public:
    explicit Writer(std::string& out) : m_out(out) {}

    // Starts an object with its "type", "id" and "name" members.
    void open(const char* type, std::size_t id, const char* name)
    {
        m_out += R"({"type":")";
        m_out += type;
        m_out += R"(","id":")";
        m_out += type;
        m_out += '-';
        m_out += std::to_string(id);
        m_out += R"(","name":")";
        m_out += name;
        m_out += ' ';
        m_out += std::to_string(id);
        m_out += '"';
    }

    void member(const char* key, const std::string& text)
    {
        m_out += R"(,")";
        m_out += key;
        m_out += R"(":")";
        m_out += text;
        m_out += '"';
    }

    void openList(const char* key)
    {
        m_out += R"(,")";
        m_out += key;
        m_out += R"(":[)";
    }

    void separate(std::size_t index)
    {
        if (index > 0) {
            m_out += ',';
        }
    }

    void close(char bracket) { m_out += bracket; }

private:
    std::string& m_out;
};

const std::string date = "2024-05-17T09:41:12Z";

void writeFeature(Writer& out, std::size_t id)
{
    out.open("Feature", id, "Verwerfung S\u00fcd");
    out.member("isDirty", "false");
    out.member("attributeName", "lithology");
    out.member("attributeValue", "sandstone");
    out.member("attributeOperator", "=");
    out.close('}');
}

void writeGeologicModel(Writer& out, std::size_t id, bool withChildren)
{
    out.open("GeologicModel", id, "Modell Nord");
    out.openList("children");
    if (withChildren) {
        out.open("FeatureCollection", id, "Horizons");
        out.openList("children");
        out.open("Parameters", id, "Defaults");
        out.member("parameters", "{\\\"cellSize\\\":25}");
        out.openList("children");
        for (std::size_t feature = 0; feature < 2; ++feature) {
            out.separate(feature);
            writeFeature(out, id * 10 + feature);
        }
        out.close(']');
        out.close('}');
        out.close(']');
        out.close('}');
    }
    out.close(']');
    out.member("modificationDate", date);
    out.close('}');
}

// A collection whose entries carry one member more, under `extraKey`.
void writeCollection(Writer& out, const char* type, const char* childType, const char* extraKey, std::size_t id,
                     bool withChildren)
{
    out.open(type, id, "Sammlung \u00d6st");
    out.openList("children");
    for (std::size_t child = 0; withChildren && child < 3; ++child) {
        out.separate(child);
        out.open(childType, id * 10 + child, "Eintrag");
        out.member(extraKey, extraKey[0] == 't' ? std::to_string(child * 7) : date);
        out.close('}');
    }
    out.close(']');
    out.close('}');
}

void writeChild(Writer& out, std::size_t id)
{
    const bool withChildren = id % 10 == 0;
    switch (id % 5) {
    case 0:
        out.open("BoreholeCollection", id, "Bohrungen");
        out.member("totalItems", std::to_string(id % 997));
        out.close('}');
        break;
    case 1: writeGeologicModel(out, id, withChildren); break;
    case 2: writeCollection(out, "PointSampleCollection", "PointSampleSet", "totalItems", id, withChildren); break;
    case 3:
        writeCollection(out, "StaticStructureCollection", "StaticStructure", "modificationDate", id, withChildren);
        break;
    default: writeCollection(out, "TerrainCollection", "Terrain", "modificationDate", id, withChildren); break;
    }
}

} // namespace

std::string siteTreeDocument(std::size_t children)
{
    std::string text;
    text.reserve(children * 110);
    Writer out(text);
    text += R"({"result":"ok","trackingNumber":"TN-0001","tree":)";
    out.open("Site", 1, "Lagerst\u00e4tte Weststeiermark");
    out.member("modificationDate", date);
    out.openList("children");
    for (std::size_t id = 0; id < children; ++id) {
        out.separate(id);
        writeChild(out, id);
    }
    out.close(']');
    out.close('}');
    out.close('}');
    return text;
}

} // namespace lithmar_bench
