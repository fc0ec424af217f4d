#include "Table.h"

#include <algorithm>

namespace lithmar::xchng {
namespace {

// Column widths count characters, not bytes, so that names with accents line up.
std::size_t displayWidth(const std::string& utf8)
{
    return static_cast<std::size_t>(
        std::count_if(utf8.begin(), utf8.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

} // namespace

Table::Table(std::vector<std::string> headings) : m_headings(std::move(headings)) {}

void Table::add(std::vector<std::string> row)
{
    row.resize(m_headings.size());
    m_rows.push_back(std::move(row));
}

void Table::print(std::ostream& out) const
{
    std::vector<std::size_t> widths;
    for (const auto& heading : m_headings) {
        widths.push_back(displayWidth(heading));
    }
    for (const auto& row : m_rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], displayWidth(row[i]));
        }
    }
    const auto printRow = [&](const std::vector<std::string>& cells) {
        std::string line;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            line += cells[i];
            if (i + 1 < cells.size()) {
                line += std::string(widths[i] - displayWidth(cells[i]) + 2, ' ');
            }
        }
        out << line << '\n';
    };
    printRow(m_headings);
    for (const auto& row : m_rows) {
        printRow(row);
    }
}

} // namespace lithmar::xchng
