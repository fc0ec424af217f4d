#include <tools/local/exchange/imports/CsvTable.h>

#include <tools/local/exchange/imports/ImportError.h>

#include <csv.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <memory>

namespace lithmar::local::imports {
namespace {

std::string normalName(std::string name)
{
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return name;
}

// Collects libcsv's fields and records.
struct Collector {
    std::vector<std::vector<std::string>> records;
    std::vector<std::string> current;

    static void field(void* data, std::size_t size, void* self)
    {
        auto& collector = *static_cast<Collector*>(self);
        collector.current.emplace_back(static_cast<const char*>(data), size);
    }
    static void record(int, void* self)
    {
        auto& collector = *static_cast<Collector*>(self);
        collector.records.push_back(std::move(collector.current));
        collector.current.clear();
    }
};

struct ParserDeleter {
    void operator()(csv_parser* parser) const
    {
        csv_free(parser);
        delete parser;
    }
};

std::vector<std::vector<std::string>> records(const SourceFile& file)
{
    std::unique_ptr<csv_parser, ParserDeleter> parser(new csv_parser);
    if (csv_init(parser.get(), CSV_STRICT | CSV_STRICT_FINI) != 0) {
        delete parser.release();
        throw ImportError("cannot set up the CSV reader for " + file.label());
    }
    Collector collector;
    const std::size_t parsed =
        csv_parse(parser.get(), file.text.data(), file.text.size(), Collector::field, Collector::record, &collector);
    if (parsed != file.text.size() || csv_fini(parser.get(), Collector::field, Collector::record, &collector) != 0) {
        throw ImportError(file.label() + ", row " + std::to_string(collector.records.size() + 1) + ": not valid CSV (" +
                          csv_strerror(csv_error(parser.get())) +
                          "); quote fields that hold commas or quotes, doubling the quotes inside");
    }
    return std::move(collector.records);
}

// "360", "0.5": bounds as a reader writes them.
std::string shortNumber(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

} // namespace

std::optional<double> decimalNumber(const std::string& text)
{
    const char* first = text.data();
    const char* last = first + text.size();
    if (first != last && *first == '+') {
        ++first;
    }
    double value = 0;
    const auto [end, error] = std::from_chars(first, last, value);
    if (first == last || error != std::errc() || end != last || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

CsvTable CsvTable::parse(const SourceFile& file)
{
    CsvTable table;
    table.m_label = file.label();
    auto all = records(file);
    if (all.empty()) {
        throw ImportError(file.label() + " is empty; it needs a header row naming its columns");
    }
    for (std::size_t column = 0; column < all[0].size(); ++column) {
        std::string name = normalName(all[0][column]);
        if (name.empty()) {
            throw ImportError(file.label() + ", row 1: column " + std::to_string(column + 1) +
                              " of the header has no name");
        }
        if (std::find(table.m_header.begin(), table.m_header.end(), name) != table.m_header.end()) {
            throw ImportError(file.label() + ", row 1: the header names the column \"" + name + "\" twice");
        }
        table.m_header.push_back(std::move(name));
    }
    table.m_rows.assign(std::make_move_iterator(all.begin() + 1), std::make_move_iterator(all.end()));
    for (std::size_t row = 0; row < table.m_rows.size(); ++row) {
        if (table.m_rows[row].size() != table.m_header.size()) {
            table.fail(row, "has " + std::to_string(table.m_rows[row].size()) + " fields, the header " +
                                std::to_string(table.m_header.size()));
        }
    }
    return table;
}

bool CsvTable::hasColumns(const std::vector<const char*>& names) const
{
    return std::all_of(names.begin(), names.end(), [this](const char* name) { return optionalColumn(name); });
}

std::optional<std::size_t> CsvTable::optionalColumn(const char* name) const
{
    const auto found = std::find(m_header.begin(), m_header.end(), name);
    if (found == m_header.end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(found - m_header.begin());
}

std::size_t CsvTable::column(const char* name) const
{
    if (const auto found = optionalColumn(name)) {
        return *found;
    }
    std::string columns;
    for (const std::string& header : m_header) {
        columns += (columns.empty() ? "" : ", ") + header;
    }
    throw ImportError(m_label + " has no column \"" + name + "\" (its columns: " + columns + ")");
}

double CsvTable::number(std::size_t row, std::size_t column) const
{
    const auto value = optionalNumber(row, column);
    if (!value) {
        fail(row, column, "a number is required");
    }
    return *value;
}

std::optional<double> CsvTable::optionalNumber(std::size_t row, std::size_t column) const
{
    const std::string& field = text(row, column);
    if (field.empty()) {
        return std::nullopt;
    }
    const auto value = decimalNumber(field);
    if (!value) {
        fail(row, column, "\"" + field + "\" is not a number");
    }
    return value;
}

double CsvTable::numberWithin(std::size_t row, std::size_t column, double low, double high, bool highOpen) const
{
    if (const auto value = optionalNumberWithin(row, column, low, high, highOpen)) {
        return *value;
    }
    fail(row, column, "a number is required");
}

std::optional<double> CsvTable::optionalNumberWithin(std::size_t row, std::size_t column, double low, double high,
                                                     bool highOpen) const
{
    const auto value = optionalNumber(row, column);
    if (value && (*value < low || *value > high || (highOpen && *value == high))) {
        fail(row, column,
             text(row, column) + " is not within [" + shortNumber(low) + ", " + shortNumber(high) +
                 (highOpen ? ")" : "]"));
    }
    return value;
}

const std::string& CsvTable::requiredText(std::size_t row, std::size_t column) const
{
    const std::string& field = text(row, column);
    if (field.empty()) {
        fail(row, column, "must not be empty");
    }
    return field;
}

void CsvTable::fail(std::size_t row, std::size_t column, const std::string& what) const
{
    throw ImportError(m_label + ", row " + std::to_string(row + 2) + ", column \"" + m_header[column] + "\": " + what);
}

void CsvTable::fail(std::size_t row, const std::string& what) const
{
    // Data row 0 is the file's row 2, after the header.
    throw ImportError(m_label + ", row " + std::to_string(row + 2) + ": " + what);
}

} // namespace lithmar::local::imports
