#include <lithmar/socket/detail/Frames.h>

#include <nlohmann/json.hpp>

namespace com::vantorel::lithmar::detail {

std::string helloFrame(const std::string& user, const std::string& ticket, std::int64_t after)
{
    // Replaces bytes that are not UTF-8 rather than throwing: the service
    // then refuses the user, which the caller hears about.
    return nlohmann::json{{"type", "hello"}, {"user", user}, {"ticket", ticket}, {"after", after}}.dump(
        -1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<ServiceFrame> parseServiceFrame(const std::string& text)
{
    const auto frame = nlohmann::json::parse(text, nullptr, false);
    if (!frame.is_object()) {
        return std::nullopt;
    }
    const auto type = frame.find("type");
    if (type == frame.end() || !type->is_string()) {
        return std::nullopt;
    }
    if (*type == "welcome") {
        return ServiceFrame{};
    }
    if (*type != "notification") {
        return std::nullopt;
    }
    const auto index = frame.find("index");
    const auto message = frame.find("message");
    if (index == frame.end() || !index->is_number_integer() || message == frame.end() || !message->is_object()) {
        return std::nullopt;
    }
    ServiceFrame notification;
    notification.kind = ServiceFrame::Kind::Notification;
    notification.index = index->get<std::int64_t>();
    notification.message = message->dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    return notification;
}

} // namespace com::vantorel::lithmar::detail
