#include <tools/local/exchange/imports/TerrainGrid.h>

#include <tools/local/exchange/imports/CsvTable.h>
#include <tools/local/exchange/imports/ImportError.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>

namespace lithmar::local::imports {
namespace {

struct Token {
    std::string text;
    std::size_t line;
};

// Splits the text at blanks and line breaks, remembering each token's line.
class Tokens {
public:
    explicit Tokens(const std::string& text) : m_text(text) {}

    std::optional<Token> next()
    {
        while (m_at < m_text.size() && std::isspace(static_cast<unsigned char>(m_text[m_at]))) {
            m_line += m_text[m_at] == '\n' ? 1 : 0;
            ++m_at;
        }
        if (m_at == m_text.size()) {
            return std::nullopt;
        }
        const std::size_t start = m_at;
        while (m_at < m_text.size() && !std::isspace(static_cast<unsigned char>(m_text[m_at]))) {
            ++m_at;
        }
        return Token{m_text.substr(start, m_at - start), m_line};
    }
    // The next token without taking it.
    std::optional<Token> peek()
    {
        const std::size_t at = m_at;
        const std::size_t line = m_line;
        auto token = next();
        m_at = at;
        m_line = line;
        return token;
    }
    std::size_t line() const { return m_line; }

private:
    const std::string& m_text;
    std::size_t m_at = 0;
    std::size_t m_line = 1;
};

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool startsWithLetter(const std::string& text)
{
    return !text.empty() && std::isalpha(static_cast<unsigned char>(text[0]));
}

[[noreturn]] void fail(const SourceFile& file, std::size_t line, const std::string& what)
{
    throw ImportError(file.label() + ", line " + std::to_string(line) + ": " + what);
}

double numberAt(const SourceFile& file, const Token& token, const std::string& what)
{
    const auto value = decimalNumber(token.text);
    if (!value) {
        fail(file, token.line, what + " \"" + token.text + "\" is not a number");
    }
    return *value;
}

// The header's values by lower-case key, until the first number.
std::map<std::string, double> readHeader(const SourceFile& file, Tokens& tokens)
{
    static const std::vector<std::string> known{"ncols",     "nrows",     "xllcorner", "yllcorner",
                                                "xllcenter", "yllcenter", "cellsize",  "nodata_value"};
    std::map<std::string, double> header;
    while (const auto key = tokens.peek()) {
        if (!startsWithLetter(key->text)) {
            break;
        }
        tokens.next();
        const std::string name = lower(key->text);
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            fail(file, key->line,
                 "unknown header key \"" + key->text +
                     "\" (a grid starts with ncols, nrows, xllcorner or xllcenter, yllcorner or "
                     "yllcenter, cellsize and, optionally, nodata_value)");
        }
        const auto value = tokens.next();
        if (!value || value->line != key->line) {
            fail(file, key->line, "the key " + key->text + " has no value");
        }
        if (!header.emplace(name, numberAt(file, *value, "the value of " + key->text)).second) {
            fail(file, key->line, "the key " + key->text + " appears twice");
        }
    }
    return header;
}

std::size_t cellCount(const SourceFile& file, const std::map<std::string, double>& header, const char* key)
{
    const auto found = header.find(key);
    if (found == header.end()) {
        throw ImportError(file.label() + ": the grid's header has no " + key);
    }
    const double value = found->second;
    if (value < 1 || value != std::floor(value) || value > static_cast<double>(kMaxTerrainCells)) {
        throw ImportError(file.label() + ": " + key + " must be a whole number from 1 to " +
                          std::to_string(kMaxTerrainCells));
    }
    return static_cast<std::size_t>(value);
}

// The lower left corner along one axis, from either of its two keys.
double corner(const SourceFile& file, const std::map<std::string, double>& header, const std::string& axis,
              double cellSize)
{
    const auto atCorner = header.find(axis + "llcorner");
    const auto atCenter = header.find(axis + "llcenter");
    if ((atCorner == header.end()) == (atCenter == header.end())) {
        throw ImportError(file.label() + ": the grid's header needs one of " + axis + "llcorner and " + axis +
                          "llcenter");
    }
    return atCorner != header.end() ? atCorner->second : atCenter->second - cellSize / 2;
}

} // namespace

TerrainGrid readTerrainGrid(const SourceFile& file)
{
    Tokens tokens(file.text);
    const auto header = readHeader(file, tokens);
    TerrainGrid grid;
    grid.columns = cellCount(file, header, "ncols");
    grid.rows = cellCount(file, header, "nrows");
    if (grid.columns > kMaxTerrainCells / grid.rows) {
        throw ImportError(file.label() + ": a grid of " + std::to_string(grid.columns) + " x " +
                          std::to_string(grid.rows) + " cells is more than the " + std::to_string(kMaxTerrainCells) +
                          " an import takes");
    }
    const auto cellSize = header.find("cellsize");
    if (cellSize == header.end() || cellSize->second <= 0) {
        throw ImportError(file.label() + ": the grid's header needs a cellsize above 0");
    }
    grid.cellSize = cellSize->second;
    grid.xLowerLeft = corner(file, header, "x", grid.cellSize);
    grid.yLowerLeft = corner(file, header, "y", grid.cellSize);
    if (const auto noData = header.find("nodata_value"); noData != header.end()) {
        grid.noData = noData->second;
    }

    const std::size_t expected = grid.columns * grid.rows;
    grid.heights.reserve(expected);
    while (const auto token = tokens.next()) {
        if (grid.heights.size() == expected) {
            fail(file, token->line, "more heights than ncols x nrows = " + std::to_string(expected));
        }
        const double height = numberAt(file, *token, "the height");
        grid.heights.push_back(height);
        if (grid.noData && height == *grid.noData) {
            continue;
        }
        grid.lowest = std::min(grid.lowest.value_or(height), height);
        grid.highest = std::max(grid.highest.value_or(height), height);
    }
    if (grid.heights.size() != expected) {
        fail(file, tokens.line(),
             "the grid ends after " + std::to_string(grid.heights.size()) +
                 " heights; ncols x nrows = " + std::to_string(expected));
    }
    return grid;
}

} // namespace lithmar::local::imports
