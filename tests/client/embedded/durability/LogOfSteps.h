// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace database_client {

/// What a writer is about to do to a store, or has been told is done.
struct Step {
  enum class Kind : std::int32_t { insert, insertMany, replace, set, remove, transaction, compact };
  enum class Phase : std::int32_t { begun, acknowledged };

  Kind kind;
  Phase phase;
  std::int32_t id;
  std::int32_t count;  ///< of ids from `id` on
  std::int32_t version;
};

/// A store as it should be: the version of each document.
using Model = std::map<std::int32_t, std::int32_t>;

inline void follow(Model& model, const Step& step) {
  const auto putAll = [&] {
    for (std::int32_t i = 0; i < step.count; ++i) model[step.id + i] = step.version;
  };
  switch (step.kind) {
    case Step::Kind::insert:
    case Step::Kind::insertMany:
    case Step::Kind::replace:
    case Step::Kind::set:
      return putAll();
    case Step::Kind::transaction:
      // The documents go in, and the first of them goes again.
      putAll();
      model.erase(step.id);
      return;
    case Step::Kind::remove:
      for (std::int32_t i = 0; i < step.count; ++i) model.erase(step.id + i);
      return;
    case Step::Kind::compact:
      return;
  }
}

/// The way from a writer to whoever checks it. What was written before the writer died arrives.
class Pipe {
 public:
  Pipe() { opened_ = ::pipe(ends_) == 0; }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    closeEnd(0);
    closeEnd(1);
  }
  bool isOpen() const { return opened_; }
  void keepReading() { closeEnd(1); }
  void keepWriting() { closeEnd(0); }

  template <class Message>
  void send(const Message& message) const {
    if (::write(ends_[1], &message, sizeof message) != static_cast<ssize_t>(sizeof message)) _exit(9);
  }
  /// False at the end.
  template <class Message>
  bool receive(Message& message) const {
    std::size_t length = 0;
    while (length < sizeof message) {
      const ssize_t read = ::read(ends_[0], reinterpret_cast<char*>(&message) + length, sizeof message - length);
      if (read <= 0) return false;
      length += static_cast<std::size_t>(read);
    }
    return true;
  }

 private:
  void closeEnd(int end) {
    if (ends_[end] >= 0) ::close(ends_[end]);
    ends_[end] = -1;
  }
  int ends_[2] = {-1, -1};
  bool opened_ = false;
};

/// The document of an id in a version; every byte of it follows from the two.
inline std::string documentOf(std::int32_t id, std::int32_t version) {
  const std::string number = std::to_string(version);
  std::string text;
  for (int i = 0; i < 40 + (id * 7 + version) % 200; ++i) text += static_cast<char>('a' + (id + version + i) % 26);
  return "{\"_id\": " + std::to_string(id) + R"(, "version": )" + number +
         R"(, "items": [{"name": "version", "value": )" + number + R"(}, {"name": "id", "value": )" +
         std::to_string(id) + R"(}], "text": ")" + text + "\"}";
}

}  // namespace database_client
