#include <tools/local/server/HeaderParameters.h>

#include <tools/local/server/AsciiText.h>

#include <algorithm>

namespace lithmar::local {

HeaderParameters HeaderParameters::parse(std::string_view text)
{
    HeaderParameters parsed;
    const auto semicolon = text.find(';');
    parsed.value = std::string(trimmed(text.substr(0, semicolon)));
    std::size_t position = semicolon == std::string_view::npos ? text.size() : semicolon + 1;
    while (position < text.size()) {
        const auto end = text.find_first_of("=;", position);
        const std::string name = asciiLower(trimmed(text.substr(position, end - position)));
        if (end == std::string_view::npos || text[end] == ';') {
            // A parameter without a value ("; inline;") carries nothing we use.
            position = end == std::string_view::npos ? text.size() : end + 1;
            continue;
        }
        position = std::min(text.find_first_not_of(" \t", end + 1), text.size());
        std::string value;
        if (position < text.size() && text[position] == '"') {
            const auto closing = text.find('"', position + 1);
            value = std::string(text.substr(position + 1, closing - position - 1));
            position = closing == std::string_view::npos ? text.size() : text.find(';', closing);
        } else {
            const auto valueEnd = text.find(';', position);
            value = std::string(trimmed(text.substr(position, valueEnd - position)));
            position = valueEnd;
        }
        if (!name.empty()) {
            parsed.parameters.emplace_back(name, std::move(value));
        }
        position = position == std::string_view::npos ? text.size() : position + 1;
    }
    return parsed;
}

std::optional<std::string> HeaderParameters::parameter(std::string_view name) const
{
    for (const auto& [parameterName, parameterValue] : parameters) {
        if (equalsIgnoringCase(parameterName, name)) {
            return parameterValue;
        }
    }
    return std::nullopt;
}

} // namespace lithmar::local
