#ifndef PCIINFO_CLIENT_ANSWER_H
#define PCIINFO_CLIENT_ANSWER_H

#include <cstddef>
#include <string>

#include "broker/objectmanager.h"
#include "client/request.h"

namespace client {

/** How long an answer may be, about 4000 functions; and how many elements and attributes it may have, likewise. */
constexpr std::size_t kMaxAnswer = std::size_t{16} << 20;
constexpr int kMaxAnswerParts = 600000;

/**
 * What an object manager's message answers to a request: objects, or a status with its description. Throws
 * std::runtime_error that says why it is no answer to that request, or not one that can be read.
 *
 * Object managers write one and the same object in different ways. Here it comes out as the provider made it: without
 * properties that are null, which were not set; with those of the keys, which some managers leave null, as its path has
 * them; and with the keys of paths in the order of the schema. Bytes that are no UTF-8, and characters that XML cannot
 * hold, pass through some managers: they become U+FFFD.
 */
broker::Response readAnswer(const Request& request, const std::string& message);

/** How many bytes of memory an answer takes, about. */
std::size_t roomOf(const broker::Response& response);

}  // namespace client

#endif
