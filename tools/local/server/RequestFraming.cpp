#include <tools/local/server/RequestFraming.h>

#include <tools/local/server/AsciiText.h>

#include <string_view>

namespace lithmar::local {
namespace {

// The comma-separated elements of every header named `name`, trimmed, empty
// ones left out.
std::vector<std::string> listElements(const std::vector<Header>& headers, std::string_view name)
{
    std::vector<std::string> elements;
    for (const Header& header : headers) {
        if (!equalsIgnoringCase(header.name, name)) {
            continue;
        }
        std::string_view rest = header.value;
        for (;;) {
            const auto comma = rest.find(',');
            const std::string element(trimmed(rest.substr(0, comma)));
            if (!element.empty()) {
                elements.push_back(element);
            }
            if (comma == std::string_view::npos) {
                break;
            }
            rest.remove_prefix(comma + 1);
        }
    }
    return elements;
}

std::size_t countOf(const std::vector<Header>& headers, std::string_view name)
{
    std::size_t count = 0;
    for (const Header& header : headers) {
        count += equalsIgnoringCase(header.name, name) ? 1 : 0;
    }
    return count;
}

} // namespace

std::string framingProblem(const std::vector<Header>& headers, unsigned version)
{
    if (version >= 11 && countOf(headers, "Host") == 0) {
        return "no Host header";
    }
    if (countOf(headers, "Host") > 1) {
        return "more than one Host header";
    }
    const std::vector<std::string> lengths = listElements(headers, "Content-Length");
    for (const std::string& length : lengths) {
        if (length != lengths.front()) {
            return "Content-Length values differ (" + lengths.front() + ", " + length + ")";
        }
    }
    const std::vector<std::string> codings = listElements(headers, "Transfer-Encoding");
    if (countOf(headers, "Transfer-Encoding") == 0) {
        return {};
    }
    if (countOf(headers, "Content-Length") > 0) {
        return "both Content-Length and Transfer-Encoding";
    }
    if (codings.empty() || !equalsIgnoringCase(codings.back(), "chunked")) {
        return "Transfer-Encoding does not end in chunked";
    }
    for (std::size_t i = 0; i + 1 < codings.size(); ++i) {
        if (equalsIgnoringCase(codings[i], "chunked")) {
            return "Transfer-Encoding applies chunked more than once";
        }
    }
    return {};
}

} // namespace lithmar::local
