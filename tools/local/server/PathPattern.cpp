#include <tools/local/server/PathPattern.h>

#include <stdexcept>

namespace lithmar::local {
namespace {

std::vector<std::string_view> splitAtSlashes(std::string_view text)
{
    std::vector<std::string_view> pieces;
    for (;;) {
        const auto slash = text.find('/');
        pieces.push_back(text.substr(0, slash));
        if (slash == std::string_view::npos) {
            return pieces;
        }
        text.remove_prefix(slash + 1);
    }
}

bool isBraced(std::string_view segment)
{
    return segment.size() >= 2 && segment.front() == '{' && segment.back() == '}';
}

} // namespace

PathPattern::PathPattern(std::string_view pattern) : m_text(pattern)
{
    if (pattern == "*") {
        m_segments.push_back({Kind::Rest, "*"});
        return;
    }
    if (pattern.empty() || pattern.front() != '/') {
        throw std::invalid_argument("path pattern \"" + m_text + "\" must start with '/' (or be \"*\")");
    }
    const auto pieces = splitAtSlashes(pattern.substr(1));
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const std::string_view piece = pieces[i];
        const bool last = i + 1 == pieces.size();
        constexpr std::string_view ellipsis = "...";
        Segment segment{Kind::Literal, std::string(piece)};
        if (piece == "*") {
            segment.kind = Kind::Rest;
        } else if (isBraced(piece)) {
            std::string_view name = piece.substr(1, piece.size() - 2);
            if (name.size() >= ellipsis.size() && name.substr(name.size() - ellipsis.size()) == ellipsis) {
                name.remove_suffix(ellipsis.size());
                segment.kind = Kind::Rest;
            } else {
                segment.kind = Kind::Parameter;
            }
            if (name.empty() || name.find_first_of("{}/") != std::string_view::npos) {
                throw std::invalid_argument("path pattern \"" + m_text + "\" has a parameter without a valid name");
            }
            segment.text = std::string(name);
        } else if (piece.find_first_of("{}") != std::string_view::npos) {
            throw std::invalid_argument("path pattern \"" + m_text +
                                        "\": a parameter must be a whole segment, like /{id}/");
        }
        if (segment.kind == Kind::Rest && !last) {
            throw std::invalid_argument("path pattern \"" + m_text +
                                        "\": only the last segment may capture the rest of the path");
        }
        m_segments.push_back(std::move(segment));
    }
}

std::optional<std::map<std::string, std::string>> PathPattern::match(std::string_view path) const
{
    std::map<std::string, std::string> params;
    if (m_text == "*") {
        params["*"] = std::string(path);
        return params;
    }
    if (path.empty() || path.front() != '/') {
        return std::nullopt;
    }
    std::string_view rest = path.substr(1);
    for (std::size_t i = 0; i < m_segments.size(); ++i) {
        const Segment& segment = m_segments[i];
        if (segment.kind == Kind::Rest) {
            params[segment.text] = std::string(rest);
            return params;
        }
        const auto slash = rest.find('/');
        const std::string_view piece = rest.substr(0, slash);
        const bool lastSegment = i + 1 == m_segments.size();
        // A pattern without a rest capture must use up the path exactly; a
        // rest capture may also match nothing at all ("/files" for
        // "/files/{rest...}").
        const bool nextIsRest = !lastSegment && m_segments[i + 1].kind == Kind::Rest;
        if (slash == std::string_view::npos ? !(lastSegment || nextIsRest) : lastSegment) {
            return std::nullopt;
        }
        if (segment.kind == Kind::Literal) {
            if (piece != segment.text) {
                return std::nullopt;
            }
        } else {
            if (piece.empty()) {
                return std::nullopt;
            }
            params[segment.text] = std::string(piece);
        }
        rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
    }
    return params;
}

} // namespace lithmar::local
