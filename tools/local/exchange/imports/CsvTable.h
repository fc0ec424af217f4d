#pragma once

#include <tools/local/exchange/imports/SourceFile.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace lithmar::local::imports {

// A comma-separated table with a header row: the form of our collar,
// survey, interval and field observation files. Column names are compared
// without case and surrounding blanks; the order of the columns is free and
// columns a reader does not know are ignored.
class CsvTable {
public:
    // Throws ImportError on malformed CSV (an unclosed quote, text after a
    // closing quote), a missing or repeated header name, or a row with
    // another number of fields than the header.
    static CsvTable parse(const SourceFile& file);

    bool hasColumns(const std::vector<const char*>& names) const;
    // Throws ImportError naming the columns the file has.
    std::size_t column(const char* name) const;
    std::optional<std::size_t> optionalColumn(const char* name) const;

    std::size_t rowCount() const { return m_rows.size(); }
    const std::string& text(std::size_t row, std::size_t column) const { return m_rows[row][column]; }
    // ImportError when the field is empty or not a finite decimal number.
    double number(std::size_t row, std::size_t column) const;
    // nullopt for an empty field; ImportError when it is not a number.
    std::optional<double> optionalNumber(std::size_t row, std::size_t column) const;
    // The number, or ImportError when it is outside [low, high], or
    // [low, high) with `highOpen`.
    double numberWithin(std::size_t row, std::size_t column, double low, double high, bool highOpen = false) const;
    std::optional<double> optionalNumberWithin(std::size_t row, std::size_t column, double low, double high,
                                               bool highOpen = false) const;
    // The field, required not empty.
    const std::string& requiredText(std::size_t row, std::size_t column) const;

    // Throws ImportError "<file>, row <n>, column "<name>": <what>"; rows
    // are counted from the header, which is row 1.
    [[noreturn]] void fail(std::size_t row, std::size_t column, const std::string& what) const;
    [[noreturn]] void fail(std::size_t row, const std::string& what) const;
    const std::string& label() const { return m_label; }

private:
    std::string m_label;
    std::vector<std::string> m_header;
    std::vector<std::vector<std::string>> m_rows;
};

// `text` as a finite decimal number ("12", "-3.5", "1e3", "+2"); nullopt
// otherwise.
std::optional<double> decimalNumber(const std::string& text);

} // namespace lithmar::local::imports
