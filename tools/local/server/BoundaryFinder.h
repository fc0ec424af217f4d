#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace lithmar::local {

// Finds a multipart delimiter ("\r\n--" + boundary) in part data. Every byte
// of an upload goes through here, so the search must cost far less than
// receiving the bytes.
class BoundaryFinder {
public:
    // `delimiter`: "\r\n--" followed by a boundary of one byte or more.
    explicit BoundaryFinder(std::string delimiter);

    // Offset of the first complete delimiter in `text`, or npos.
    std::size_t find(std::string_view text) const;
    // Start of the longest tail of `text` that is a proper prefix of the
    // delimiter (a delimiter cut by the end of a read), or text.size().
    std::size_t partialAtEnd(std::string_view text) const;

    // The search find() uses on machines without AVX2 (Horspool's, which
    // looks at about one byte in 40 of ordinary data). Public so that tests
    // can hold both searches to the same results.
    std::size_t findWithoutVectors(std::string_view text) const;

    const std::string& delimiter() const { return m_delimiter; }

private:
    std::string m_delimiter;
    std::array<std::size_t, 256> m_shift{};
};

} // namespace lithmar::local
