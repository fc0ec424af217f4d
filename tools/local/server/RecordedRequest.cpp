#include <tools/local/server/RecordedRequest.h>

#include <tools/local/server/AsciiText.h>

namespace lithmar::local {

std::string RecordedRequest::header(std::string_view name) const
{
    std::string joined;
    bool found = false;
    for (const Header& header : headers) {
        if (equalsIgnoringCase(header.name, name)) {
            if (found) {
                joined += ", ";
            }
            joined += header.value;
            found = true;
        }
    }
    return joined;
}

bool RecordedRequest::hasHeader(std::string_view name) const
{
    for (const Header& header : headers) {
        if (equalsIgnoringCase(header.name, name)) {
            return true;
        }
    }
    return false;
}

} // namespace lithmar::local
