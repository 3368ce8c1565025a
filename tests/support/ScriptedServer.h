// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/Certificates.h"

namespace database_test {

/// How a scripted server says what it is.
struct Pose {
  enum class Role { standalone, primary, secondary, router };
  Role role = Role::standalone;
  std::string setName{};                  ///< of the replica set
  std::vector<std::string> hosts{};       ///< its members
  std::string primary{};                  ///< empty while there is none
  int election = 1;                       ///< the number of the election that made the primary
  std::vector<std::string> mechanisms{};  ///< in which a user may log in
  bool takesZlib = false;                 ///< understands messages that zlib compressed
  int maxWriteBatchSize = 100000;         ///< the documents that it takes in one command
};

/// What a scripted server does with one request.
struct Step {
  enum class Fate {
    answer,
    close,            ///< closes the connection without a word
    reset,            ///< the same, with a TCP reset
    silence,          ///< says nothing and keeps the connection
    cut,              ///< sends half of the answer, then closes
    absurdLength,     ///< announces an answer of two gigabytes
    foreignResponse,  ///< answers a request that was never made
    garbage,          ///< sends what is no message at all
  };
  Fate fate = Fate::answer;
  std::string answer = R"({"ok": 1})";  ///< extended JSON
  std::vector<std::uint8_t> bytes{};    ///< sent as the answer's document, whatever they are, unless empty
  int delay = 0;                        ///< in milliseconds, before anything
  int drip = 0;                         ///< in milliseconds, after each byte of the answer
};

/// The BSON bytes of extended JSON.
std::vector<std::uint8_t> bsonOf(const std::string& json);

Step answer(const std::string& json);
Step failing(Step::Fate fate);
/// An answer with these bytes for a document.
Step answerOf(const std::vector<std::uint8_t>& bytes);
/// An answer with one batch of documents, to "find" or "aggregate".
Step batch(const std::string& documents);
/// The same, of a cursor that lives on.
Step openBatch(const std::string& documents);
/// An answer with one more batch, to "getMore"; the last one ends the cursor.
Step nextBatch(const std::string& documents);
Step lastBatch(const std::string& documents);
/// The answer's document with a batch of this one document, whose bytes are not looked at.
std::vector<std::uint8_t> withBatch(const std::vector<std::uint8_t>& document);
Step refusal(int code, const std::string& text, const std::string& more = "");

/// What a scripted server was sent: one command, document sequences put back in their place.
struct Request {
  std::string name{};
  std::string database{};
  std::string json{};                ///< canonical extended JSON; empty for a message above 1 MiB
  int documents = 0;                 ///< the number of documents of an insert
  bool compressed = false;           ///< it came compressed
  std::vector<std::uint8_t> wire{};  ///< the message as it came
};

/// A server on a free port of 127.0.0.1 that speaks the wire protocol and does what a test tells it: without a script a
/// command is answered as by a healthy server that stores nothing.
class ScriptedServer {
 public:
  ScriptedServer() : ScriptedServer(Pose{}) {}
  explicit ScriptedServer(Pose pose, TlsFiles tls = {});
  ~ScriptedServer();
  ScriptedServer(const ScriptedServer&) = delete;
  ScriptedServer& operator=(const ScriptedServer&) = delete;

  int port() const { return port_; }
  std::string host() const;  ///< host:port

  /// Closes the port and all connections; `start` opens the same port again.
  void stop();
  void start();

  void pose(const Pose& pose);
  /// The next requests of this name are met by these steps, in order. "hello" stands for all its names.
  void script(const std::string& command, const std::vector<Step>& steps);
  /// Every request of this name that no script waits for is met so.
  void always(const std::string& command, const Step& step);

  /// Every request of this name that neither a script nor `always` waits for is met by what `choose` makes of it.
  void answerBy(const std::string& command, const std::function<Step(const Request&)>& choose);
  /// Every message is changed so, bytes and all, before it is sent as the answer to this command. One whose length is
  /// no longer what its header says is followed by the end of the connection.
  void alter(const std::function<void(const std::string& command, std::vector<std::uint8_t>& message)>& change);

  std::vector<Request> received(const std::string& command) const;
  int connections() const;

 private:
  struct Connection;

  void accept();
  void serve(Connection& connection);
  bool serveOne(Connection& connection);
  struct Exchange {
    const Request& request;
    std::int32_t id;
    bool legacy;
  };
  bool perform(Connection& connection, const Step& step, const Exchange& exchange) const;
  Step stepFor(const Request& request);
  Step defaultStep(const Request& request) const;
  std::string hello() const;

  TlsFiles tls_;
  int port_ = 0;
  int listener_ = -1;
  mutable std::mutex mutex_{};
  Pose pose_;
  std::map<std::string, std::vector<Step>> scripts_{};
  std::map<std::string, Step> always_{};
  std::map<std::string, std::function<Step(const Request&)>> choices_{};
  std::function<void(const std::string&, std::vector<std::uint8_t>&)> alter_{};
  std::vector<Request> received_{};
  std::vector<std::unique_ptr<Connection>> connections_{};
  int accepted_ = 0;
  std::thread acceptor_{};
};

}  // namespace database_test
