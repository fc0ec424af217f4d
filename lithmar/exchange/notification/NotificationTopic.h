#pragma once

namespace com::vantorel::lithmar {

// The topic of the data exchange service's notifications: the platform's
// domain name. The dispatcher keeps only messages of this topic, and the
// polling client puts it into the messages it builds, so that they pass.
inline constexpr char kDataExchangeTopic[] = "lithmar.vantor";
inline constexpr unsigned kDataExchangeTopicLength = sizeof(kDataExchangeTopic) - 1;
static_assert(kDataExchangeTopicLength == 14, "the topic is compared as exactly 14 bytes");

} // namespace com::vantorel::lithmar
