#pragma once

#include <tools/local/server/RecordedRequest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lithmar::local {

// Takes the data of one multipart part as it streams in, in place of the
// memory a part's data is otherwise kept in: a route that receives files
// stores them this way, whatever their size.
class PartSink {
public:
    virtual ~PartSink() = default;

    // The part's data, in order, piece by piece. May throw (a full disk): the
    // body then counts as malformed and the sink is dropped.
    virtual void write(std::string_view data) = 0;
    // The part ended at its delimiter: returns the file that now holds the
    // data (FormPart::storedAt). A sink dropped without commit() discards what
    // it received.
    virtual std::string commit() = 0;
};

// Chooses a sink for a part whose headers just arrived, or nullptr to keep
// the part in memory as usual. `head` has the request line and headers;
// `parts` the parts so far, the new one last, with the earlier parts' data.
using PartSinkFactory =
    std::function<std::unique_ptr<PartSink>(const RecordedRequest& head, const std::vector<FormPart>& parts)>;

} // namespace lithmar::local
