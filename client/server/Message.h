// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "client/bson/View.h"

/// Messages of the wire protocol, as far as one has to know them to tell a sound answer from another.
namespace database_client::server {

/// What stands before every message.
struct MessageHeader {
  std::int32_t length;  ///< of the whole message
  std::int32_t id;
  std::int32_t responseTo;
  std::int32_t opCode;
};

/// What a request asks for, where its answer is looked at more closely than others.
enum class Purpose {
  command,
  greeting,  ///< "hello" and its older names
  login,     ///< a step of a SASL conversation
};

/// What has to be known of a request to judge its answer.
struct Request {
  std::int32_t length = 0;
  std::int32_t id = 0;
  Purpose purpose = Purpose::command;
};

/// Reads what a request is from its first bytes, at least a header; `requestStart` of them are enough.
Request requestOf(const bson::Byte* start, std::size_t size);
constexpr std::size_t requestStart = 128;

/// An answer that the driver must not see, and why.
class DamagedAnswer : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The bytes of one whole message.
struct Message {
  const bson::Byte* data = nullptr;
  std::size_t size = 0;
};

/// More iterations of SCRAM than this are not done for a server: twice what is advised for PBKDF2 with SHA-256 today,
/// and less than a second of work.
constexpr std::int32_t mostIterations = 1'200'000;

/// The length of the message whose header starts here. Throws DamagedAnswer for one that no answer has.
std::size_t lengthOfAnswer(const bson::Byte* header);

/// Whether the message of this header has to be uncompressed before it can be read.
bool isCompressed(const MessageHeader& header);

/// Checks that a whole message answers the request, that its documents are well-formed, and that what the driver reads
/// in them without looking has the form that it expects. Throws DamagedAnswer. What is compressed is uncompressed into
/// `plain` before, which then holds the message to go on with.
void checkAnswer(Message message, const Request& request, std::vector<bson::Byte>& plain);
/// The same for a message that is not compressed, and whose body does not stand behind its header.
void checkAnswer(const MessageHeader& header, Message body, const Request& request);

}  // namespace database_client::server
