// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/BatchSplitter.h"
#include "tests/support/Wire.h"

namespace database_test {

/// What a relay makes of the one server behind it.
struct Shape {
  enum class Role {
    set,      ///< a replica set of three members
    routers,  ///< two routers of a sharded deployment
  };
  /// What an election may begin with.
  enum class Victims {
    /// What a client may repeat: reads, inserts, removals and changes of one document are refused or cut off (an
    /// insert never before it is carried out), the commands for users and indexes refused. Updates of many documents
    /// are let through.
    repeatable,
    /// Anything but the handshake; the connections of other clients end, too.
    all,
  };
  Role role = Role::set;
  /// Every cursor begins with an empty batch, and has another in the middle of each batch of the server.
  bool givesEmptyBatches = false;
  Victims victims = Victims::repeatable;
  /// How long a primary stays one; zero for until `elect`.
  std::chrono::milliseconds term{0};
};

/// Stands on free ports of 127.0.0.1 before one server and shows it as a deployment of several. Every member passes on
/// to this server, so that all have the same data at once, and nothing that was acknowledged is rolled back.
///
/// An election begins with a command that reaches the primary. For a while there is none; then it is the next member.
class Relay {
 public:
  /// How an election meets the command that it begins with.
  enum class Moment {
    refused,     ///< the member that is no longer primary refuses it
    unsent,      ///< its connection ends before the server has it
    unanswered,  ///< the server has carried it out, and its connection ends in the place of the reply
  };

  Relay(int server, const Shape& shape);
  ~Relay();
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;

  /// The address of the deployment.
  std::string uri() const;
  /// Host and port of one member, counted from 0; the first one is the primary until there is an election.
  std::string host(int member) const;
  /// Lets an election begin with the next command of this name that it may cut off, repetitions of a write that was cut
  /// off apart; calls add up, each election waiting for a command of its own.
  void elect(Moment moment, const std::string& command);
  /// How many elections there were.
  int elections() const;
  /// How many empty batches were given.
  int emptyBatches() const;

 private:
  class Command;
  struct Connection;
  struct Member;
  using Clock = std::chrono::steady_clock;

  /// An election that waits for its command.
  struct Plan {
    Moment moment;
    std::string command;
  };

  void accept(int member);
  void serve(Connection& connection);
  bool serveOne(Connection& connection);
  bool pass(Connection& connection, const Command& command);
  static bool answer(Connection& connection, const Command& command, const bson_t* document);
  Bson shown(const Connection& connection, const Command& command, const bson_t* reply);
  std::optional<Bson> ownAnswer(const Connection& connection, const Command& command);

  Moment nextMoment(const std::string& command) const;
  std::optional<Moment> electionWith(const Connection& connection, const Command& command);
  bool mustBeSeen(const Message& reply) const;
  void beginElection(const Connection& cause, Moment moment);
  bool hasPrimary() const;
  bool isPrimary(int member) const;
  bool isDown(int member) const;
  Bson refusal(const Command& command) const;
  Bson greeting(int member, const Command& command, const bson_t* ofServer) const;
  void appendSet(bson_t* greeting, int member) const;
  void appendTopologyVersion(bson_t* document) const;

  const int server_;
  const Shape shape_;
  mutable std::mutex mutex_{};
  std::vector<std::unique_ptr<Member>> members_{};
  std::vector<std::unique_ptr<Connection>> connections_{};
  BatchSplitter batches_{};
  std::map<std::int64_t, int> cursors_{};  ///< the member that each was made at
  std::deque<Plan> plans_{};
  Bytes cutOff_{};  ///< what tells a repetition of the write that began the last election
  int elections_ = 0;
  int primary_ = 0;
  int down_ = -1;  ///< the member that takes no connections until there is a primary
  Clock::time_point electedAt_ = Clock::now();
};

}  // namespace database_test
