#include "FailureReport.h"

#include <cpprest/json.h>

namespace lithmar::xchng {
namespace {

using web::json::value;

std::string filesNamed(const std::vector<std::string>& files)
{
    std::string list;
    for (const auto& file : files) {
        list += (list.empty() ? "" : ", ") + file;
    }
    return std::to_string(files.size()) + (files.size() == 1 ? " file" : " files") +
           (list.empty() ? "" : " (" + list + ")");
}

// What became of the files checked in before the failure, for people.
std::string sessionNote(const SessionAftermath& session)
{
    if (session.finished) {
        return "upload session " + session.id + " is finished with the " + filesNamed(session.checkedIn) +
               " checked in: nothing of it stays open, and running the command again opens a new one";
    }
    return "upload session " + session.id + " stays open with the " + filesNamed(session.checkedIn) + " checked in (" +
           session.whyOpen + "); running the command again starts a new one";
}

value sessionJson(const SessionAftermath& session)
{
    std::vector<value> files;
    for (const auto& file : session.checkedIn) {
        files.push_back(value::string(file));
    }
    value json = value::object(true);
    json["id"] = value::string(session.id);
    json["checkedIn"] = value::array(files);
    json["finished"] = value::boolean(session.finished);
    if (!session.finished) {
        json["whyOpen"] = value::string(session.whyOpen);
    }
    return json;
}

} // namespace

int report(const Failure& failure, const std::string& command, bool json, std::ostream& err)
{
    if (!json) {
        err << "xchng: " << failure.message << '\n';
        if (failure.session) {
            err << "xchng: " << sessionNote(*failure.session) << '\n';
        }
        return failure.exitCode;
    }
    value object = value::object(true);
    object["command"] = value::string(command);
    object["exitCode"] = value::number(static_cast<int>(failure.exitCode));
    object["status"] = failure.status ? value::number(failure.status) : value::null();
    object["message"] = value::string(failure.message);
    object["platformMessage"] =
        failure.platformMessage.empty() ? value::null() : value::string(failure.platformMessage);
    if (failure.session) {
        object["uploadSession"] = sessionJson(*failure.session);
    }
    err << object.serialize() << '\n';
    return failure.exitCode;
}

} // namespace lithmar::xchng
