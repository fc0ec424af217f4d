#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace lithmar::xchng {

// A plain text table: a header row, aligned columns, no borders, so that the
// output reads well in a terminal and still splits on runs of blanks.
class Table {
public:
    explicit Table(std::vector<std::string> headings);
    void add(std::vector<std::string> row);
    void print(std::ostream& out) const;
    bool empty() const { return m_rows.empty(); }

private:
    std::vector<std::string> m_headings;
    std::vector<std::vector<std::string>> m_rows;
};

} // namespace lithmar::xchng
