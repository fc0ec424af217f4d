#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lithmar::local {

// A request path pattern such as "/common/sites/v1/{id}/files/{rest...}".
//
// Segments between slashes are literal text or "{name}", which matches one
// non-empty segment. The last segment may be "{name...}", capturing the rest
// of the path (slashes included, possibly empty); "*" there is the same with
// the name "*". The pattern "*" alone matches every path. Paths are matched
// as they arrive, without percent-decoding, and so are the captured values:
// the services decide what a segment means.
class PathPattern {
public:
    // Throws std::invalid_argument saying what is wrong with the pattern.
    explicit PathPattern(std::string_view pattern);

    // The captured parameters when `path` matches.
    std::optional<std::map<std::string, std::string>> match(std::string_view path) const;

    const std::string& text() const { return m_text; }

private:
    enum class Kind { Literal, Parameter, Rest };
    struct Segment {
        Kind kind;
        std::string text; // the literal, or the parameter's name
    };

    std::string m_text;
    std::vector<Segment> m_segments;
};

} // namespace lithmar::local
