#include <tools/local/server/BoundaryFinder.h>

#include <algorithm>
#include <cstring>

namespace lithmar::local {

BoundaryFinder::BoundaryFinder(std::string delimiter) : m_delimiter(std::move(delimiter))
{
    const std::size_t length = m_delimiter.size();
    m_shift.fill(length);
    for (std::size_t i = 0; i + 1 < length; ++i) {
        m_shift[static_cast<unsigned char>(m_delimiter[i])] = length - 1 - i;
    }
}

std::size_t BoundaryFinder::find(std::string_view text) const
{
    const std::size_t length = m_delimiter.size();
    if (text.size() < length) {
        return std::string_view::npos;
    }
    const char* const data = text.data();
    const char lastByte = m_delimiter.back();
    const std::size_t lastStart = text.size() - length;
    for (std::size_t start = 0; start <= lastStart;) {
        const char probe = data[start + length - 1];
        if (probe == lastByte && std::memcmp(data + start, m_delimiter.data(), length - 1) == 0) {
            return start;
        }
        start += m_shift[static_cast<unsigned char>(probe)];
    }
    return std::string_view::npos;
}

std::size_t BoundaryFinder::partialAtEnd(std::string_view text) const
{
    // A delimiter begins with '\r' and, as a boundary cannot hold CR, has no
    // other: every candidate tail starts at a '\r' among the last bytes.
    const std::size_t window = std::min(text.size(), m_delimiter.size() - 1);
    for (std::size_t start = text.size() - window; start < text.size(); ++start) {
        if (text[start] == '\r' &&
            std::memcmp(text.data() + start, m_delimiter.data(), text.size() - start) == 0) {
            return start;
        }
    }
    return text.size();
}

} // namespace lithmar::local
