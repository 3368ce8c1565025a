// SPDX-License-Identifier: Apache-2.0
#include "client/server/CheckedStream.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "client/server/Connecting.h"
#include "client/server/Message.h"

namespace database_client::server {

namespace {

using bson::Byte;
using std::chrono::milliseconds;

/// A kind that is none of the driver's own.
constexpr int streamType = 1000;
/// Room for an answer before its length is known. What is longer, as the batches of a long read are, goes straight into
/// the driver's room: a second copy of each batch took a quarter of the time of reading all of a collection.
constexpr std::size_t usualRoom = 16 * 1024;
constexpr std::size_t largestKept = 4 * 1024 * 1024;
constexpr Clock::time_point never = Clock::time_point::max();
/// The driver's socket rounds what is left of a time down to whole milliseconds, and so gives up a little before its
/// end.
constexpr milliseconds earlyWaking{2};
/// How long a stream waits before it asks whether the result is still wanted.
constexpr milliseconds patience{100};

Clock::time_point after(std::int32_t timeout) {
  return timeout < 0 ? never : Clock::now() + milliseconds(timeout);
}

/// Rounded up, so that who waits so long does not wake too early; below zero for no limit.
std::int32_t timeUntil(Clock::time_point end) {
  if (end == never) return -1;
  const auto left = std::chrono::ceil<milliseconds>(end - Clock::now()).count();
  return static_cast<std::int32_t>(std::clamp<decltype(left)>(left, 0, 1000 * 1000 * 1000));
}

/// Bytes that grow without being set before they are read into.
class Room {
 public:
  Byte* data() const { return bytes_.get(); }
  std::size_t size() const { return size_; }
  void reserve(std::size_t size) {
    if (size <= size_) return;
    auto* larger = static_cast<Byte*>(std::realloc(bytes_.get(), size));
    if (larger == nullptr) throw std::bad_alloc();
    static_cast<void>(bytes_.release());
    bytes_.reset(larger);
    size_ = size;
  }
  void drop() {
    bytes_.reset();
    size_ = 0;
  }

 private:
  struct Free {
    void operator()(Byte* bytes) const noexcept { std::free(bytes); }
  };
  std::unique_ptr<Byte, Free> bytes_{};
  std::size_t size_ = 0;
};

class CheckedStream;

/// What the driver holds of a stream.
struct Handle {
  mongoc_stream_t stream;  ///< the driver's view of it; has to come first
  CheckedStream* self;
};

class CheckedStream {
 public:
  CheckedStream(const mongoc_uri_t* uri, const mongoc_host_list_t& host, const StreamContext& context);
  ~CheckedStream() = default;
  CheckedStream(const CheckedStream&) = delete;
  CheckedStream& operator=(const CheckedStream&) = delete;

  static CheckedStream& of(mongoc_stream_t* stream) { return *reinterpret_cast<Handle*>(stream)->self; }
  static ssize_t poll(mongoc_stream_poll_t* streams, std::size_t count, std::int32_t timeout);

  mongoc_stream_t* handle() { return &handle_.stream; }
  bool isFailed() const { return failed_; }
  ssize_t write(mongoc_iovec_t* parts, std::size_t count, std::int32_t timeout);
  ssize_t read(mongoc_iovec_t* parts, std::size_t count, std::int32_t timeout);
  int close();
  int flush();
  int setOption(int level, int name, void* value, mongoc_socklen_t size);
  bool isClosed();
  bool isTimedOut() const { return error_ == ETIMEDOUT; }
  bool mayRetry() const { return !failed_ && error_ == EAGAIN; }
  void fail(const std::string& reason, bool timedOut = false) noexcept;

 private:
  bool isConnecting() const { return connecting_.has_value(); }
  bool connect(Clock::time_point end);
  void takeConnection();
  int readiness(int events) const;
  void await(int events, std::vector<mongoc_stream_poll_t>& list) const;
  Clock::time_point nextStart() const { return isConnecting() ? connecting_->nextStart() : never; }
  void goOn(const mongoc_stream_poll_t* results);

  void begin(const mongoc_iovec_t* parts, std::size_t count);
  void timeHandshake();
  bool receive(Clock::time_point end);
  bool receiveStart(Clock::time_point end);
  bool receiveMore(Clock::time_point end);
  bool goesStraight(const mongoc_iovec_t& part) const;
  ssize_t readStraight(const mongoc_iovec_t& part, Clock::time_point end);
  ssize_t handOver(mongoc_iovec_t* parts, std::size_t count);
  ssize_t unread() const;
  bool awaitAnswer(Clock::time_point end);
  bool giveUp(int error);
  void accept();
  void forget();

  Handle handle_{};
  Breakage& breakage_;
  Cancellation& cancellation_;
  std::optional<Connecting> connecting_{};
  Owned<mongoc_stream_t> stream_{};
  bool writable_ = false;
  bool failed_ = false;
  int error_ = 0;

  Request request_{};
  std::size_t unsent_ = 0;  ///< bytes of the request

  Room room_{};
  std::size_t received_ = 0;  ///< bytes of the answer, of which so many are expected
  std::size_t expected_ = 0;
  std::vector<Byte> plain_{};
  Message answer_{};  ///< what may be handed over
  std::size_t handedOver_ = 0;

  std::int32_t handshakeTime_;        ///< in milliseconds, as a whole
  Clock::duration handshakeLeft_;     ///< for logging in
  Clock::time_point handshakeEnd_{};  ///< while a part of it is under way
  bool isHandshakeOver_ = false;
};

// The driver is C code: nothing may be thrown through it.
template <class Action, class Result>
Result guarded(CheckedStream& stream, Result otherwise, Action action) noexcept {
  try {
    return action();
  } catch (const DamagedAnswer& damage) {
    stream.fail(std::string("damaged answer: ") + damage.what());
  } catch (const std::exception& error) {
    stream.fail(error.what());
  }
  errno = EPROTO;
  return otherwise;
}

void destroy(mongoc_stream_t* stream) {
  delete &CheckedStream::of(stream);
}

void setFunctions(mongoc_stream_t& stream) {
  stream.type = streamType;
  stream.destroy = destroy;
  stream.failed = destroy;
  stream.close = [](mongoc_stream_t* self) { return CheckedStream::of(self).close(); };
  stream.flush = [](mongoc_stream_t* self) { return CheckedStream::of(self).flush(); };
  stream.writev = [](mongoc_stream_t* self, mongoc_iovec_t* parts, std::size_t count, std::int32_t timeout) {
    CheckedStream& checked = CheckedStream::of(self);
    return guarded(checked, ssize_t{-1}, [&] { return checked.write(parts, count, timeout); });
  };
  stream.readv = [](mongoc_stream_t* self, mongoc_iovec_t* parts, std::size_t count, std::size_t /*least*/,
                    std::int32_t timeout) {
    CheckedStream& checked = CheckedStream::of(self);
    return guarded(checked, ssize_t{-1}, [&] { return checked.read(parts, count, timeout); });
  };
  stream.setsockopt = [](mongoc_stream_t* self, int level, int name, void* value, mongoc_socklen_t size) {
    return CheckedStream::of(self).setOption(level, name, value, size);
  };
  stream.check_closed = [](mongoc_stream_t* self) { return CheckedStream::of(self).isClosed(); };
  stream.poll = [](mongoc_stream_poll_t* streams, std::size_t count, std::int32_t timeout) {
    return guarded(CheckedStream::of(streams[0].stream), ssize_t{-1},
                   [&] { return CheckedStream::poll(streams, count, timeout); });
  };
  stream.timed_out = [](mongoc_stream_t* self) { return CheckedStream::of(self).isTimedOut(); };
  stream.should_retry = [](mongoc_stream_t* self) { return CheckedStream::of(self).mayRetry(); };
}

CheckedStream::CheckedStream(const mongoc_uri_t* uri, const mongoc_host_list_t& host, const StreamContext& context)
    : breakage_(*context.breakage),
      cancellation_(*context.cancellation),
      handshakeTime_(mongoc_uri_get_option_as_int32(uri, MONGOC_URI_CONNECTTIMEOUTMS, 10000)),
      handshakeLeft_(milliseconds(handshakeTime_)) {
  setFunctions(handle_.stream);
  handle_.self = this;
  connecting_.emplace(uri, host);
  handshakeEnd_ = Clock::now() + handshakeLeft_;
  takeConnection();
}

void CheckedStream::fail(const std::string& reason, bool timedOut) noexcept {
  if (failed_) return;
  failed_ = true;
  error_ = timedOut ? ETIMEDOUT : EPROTO;
  try {
    breakage_ = {reason, timedOut};
  } catch (...) {  // only memory can run out here, and then the text is missing
  }
}

void CheckedStream::takeConnection() {
  if (connecting_->state() == Connecting::State::failed) fail(connecting_->reason());
  if (connecting_->state() != Connecting::State::connected) return;
  stream_ = connecting_->take();
  connecting_.reset();
  writable_ = true;
}

bool CheckedStream::connect(Clock::time_point end) {
  while (isConnecting() && !failed_) {
    mongoc_stream_poll_t self{handle(), POLLOUT, 0};
    if (poll(&self, 1, timeUntil(end)) > 0) continue;
    error_ = ETIMEDOUT;
    return false;
  }
  return !failed_;
}

ssize_t CheckedStream::poll(mongoc_stream_poll_t* streams, std::size_t count, std::int32_t timeout) {
  const Clock::time_point end = after(timeout);
  for (bool last = false;;) {
    ssize_t ready = 0;
    for (std::size_t i = 0; i < count; ++i) {
      streams[i].revents = of(streams[i].stream).readiness(streams[i].events);
      ready += streams[i].revents != 0 ? 1 : 0;
    }
    if (ready > 0 || last) return ready;
    std::vector<mongoc_stream_poll_t> awaited;
    std::vector<std::size_t> starts;
    Clock::time_point wake = std::min(end, Clock::now() + patience);
    for (std::size_t i = 0; i < count; ++i) {
      const CheckedStream& stream = of(streams[i].stream);
      starts.push_back(awaited.size());
      stream.await(streams[i].events, awaited);
      wake = std::min(wake, stream.nextStart());
    }
    if (mongoc_stream_poll(awaited.data(), awaited.size(), timeUntil(wake)) < 0) return -1;
    for (std::size_t i = 0; i < count; ++i) {
      CheckedStream& stream = of(streams[i].stream);
      guarded(stream, 0, [&] {
        stream.goOn(awaited.data() + starts[i]);
        if (!stream.cancellation_.isWanted()) stream.fail("cancelled by the caller");
        return 0;
      });
    }
    last = Clock::now() >= end;
  }
}

int CheckedStream::readiness(int events) const {
  if (failed_) return POLLERR;
  if (isConnecting()) return 0;
  const bool readable = answer_.data != nullptr;
  return events & ((writable_ ? POLLOUT : 0) | (readable ? POLLIN : 0));
}

void CheckedStream::await(int events, std::vector<mongoc_stream_poll_t>& list) const {
  if (isConnecting()) {
    connecting_->await(list);
  } else {
    list.push_back({stream_.get(), events, 0});
  }
}

void CheckedStream::goOn(const mongoc_stream_poll_t* results) {
  if (isConnecting()) {
    connecting_->goOn(results);
    takeConnection();
    return;
  }
  if ((results->revents & POLLOUT) != 0) writable_ = true;
  if ((results->revents & (POLLIN | POLLERR | POLLHUP)) != 0) receive(std::min(Clock::now(), handshakeEnd_));
}

// Of a request that goes out in several pieces only the first one begins it.
void CheckedStream::begin(const mongoc_iovec_t* parts, std::size_t count) {
  std::array<Byte, requestStart> start{};
  std::size_t size = 0;
  for (std::size_t i = 0; i < count && size < start.size(); ++i) {
    const std::size_t more = std::min(parts[i].iov_len, start.size() - size);
    std::memcpy(start.data() + size, parts[i].iov_base, more);
    size += more;
  }
  if (size < sizeof(MessageHeader)) throw std::logic_error("a request without a header");
  request_ = requestOf(start.data(), size);
  if (received_ > 0) throw DamagedAnswer("there are bytes that nobody asked for");
  timeHandshake();
}

void CheckedStream::timeHandshake() {
  if (request_.purpose == Purpose::command) {
    isHandshakeOver_ = true;
    handshakeEnd_ = never;
  }
  if (isHandshakeOver_ || handshakeEnd_ != never) return;
  const bool isLogin = request_.purpose == Purpose::login;
  handshakeEnd_ = Clock::now() + (isLogin ? handshakeLeft_ : milliseconds(handshakeTime_));
}

ssize_t CheckedStream::write(mongoc_iovec_t* parts, std::size_t count, std::int32_t timeout) {
  if (failed_ || !connect(after(timeout))) return -1;
  if (unsent_ == 0) begin(parts, count);
  writable_ = false;
  const ssize_t sent = mongoc_stream_writev(stream_.get(), parts, count, timeout);
  error_ = sent < 0 && mongoc_stream_should_retry(stream_.get()) ? EAGAIN : 0;
  if (sent > 0) {
    const std::size_t left = unsent_ == 0 ? static_cast<std::size_t>(request_.length) : unsent_;
    unsent_ = left - std::min(left, static_cast<std::size_t>(sent));
  }
  return sent;
}

ssize_t CheckedStream::read(mongoc_iovec_t* parts, std::size_t count, std::int32_t timeout) {
  const Clock::time_point end = std::min(after(timeout), handshakeEnd_);
  if (failed_ || !receiveStart(end)) return unread();
  if (count == 1 && goesStraight(parts[0])) return readStraight(parts[0], end);
  return receive(end) ? handOver(parts, count) : unread();
}

ssize_t CheckedStream::unread() const {
  errno = error_;
  return -1;
}

ssize_t CheckedStream::handOver(mongoc_iovec_t* parts, std::size_t count) {
  std::size_t copied = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t size = std::min(parts[i].iov_len, answer_.size - handedOver_);
    if (size > 0) std::memcpy(parts[i].iov_base, answer_.data + handedOver_, size);
    handedOver_ += size;
    copied += size;
  }
  if (handedOver_ == answer_.size) forget();
  return static_cast<ssize_t>(copied);
}

/// Whether the driver asks for the length alone of a long answer that is not here yet, or then for all the rest.
bool CheckedStream::goesStraight(const mongoc_iovec_t& part) const {
  const bool isLong = expected_ > usualRoom && received_ < expected_;
  if (!isLong || request_.purpose != Purpose::command) return false;
  if (isCompressed(bson::load<MessageHeader>(room_.data()))) return false;
  constexpr std::size_t length = sizeof(std::int32_t);
  return handedOver_ == 0 ? part.iov_len == length : handedOver_ == length && part.iov_len == expected_ - length;
}

/// Of what the driver has then, it looks at nothing when the result is an error.
ssize_t CheckedStream::readStraight(const mongoc_iovec_t& part, Clock::time_point end) {
  auto* const room = static_cast<Byte*>(part.iov_base);
  const std::size_t start = std::min(part.iov_len, received_ - handedOver_);
  std::memcpy(room, room_.data() + handedOver_, start);
  if (handedOver_ == 0) {
    handedOver_ = part.iov_len;
    return static_cast<ssize_t>(part.iov_len);
  }
  for (std::size_t size = start; size < part.iov_len;) {
    errno = 0;
    const ssize_t more = mongoc_stream_read(stream_.get(), room + size, part.iov_len - size, 1, timeUntil(end));
    if (more <= 0) {
      giveUp(errno);
      fail("timeout: no end of the answer in time", true);  // There is no going on later in room that is the driver's.
      return unread();
    }
    size += static_cast<std::size_t>(more);
  }
  const std::size_t before = sizeof(MessageHeader) - handedOver_;
  checkAnswer(bson::load<MessageHeader>(room_.data()), {room + before, part.iov_len - before}, request_);
  forget();
  return static_cast<ssize_t>(part.iov_len);
}

bool CheckedStream::receive(Clock::time_point end) {
  if (!receiveStart(end)) return false;
  room_.reserve(expected_);
  while (answer_.data == nullptr) {
    if (received_ >= expected_) {
      accept();
    } else if (!receiveMore(end)) {
      return false;
    }
  }
  return true;
}

/// What comes with the header.
bool CheckedStream::receiveStart(Clock::time_point end) {
  while (received_ < sizeof(MessageHeader)) {
    if (!receiveMore(end)) return false;
    if (received_ >= sizeof(std::int32_t)) expected_ = lengthOfAnswer(room_.data());
  }
  return true;
}

bool CheckedStream::receiveMore(Clock::time_point end) {
  room_.reserve(usualRoom);
  if (received_ == 0 && !awaitAnswer(end)) return false;
  errno = 0;
  const ssize_t more =
      mongoc_stream_read(stream_.get(), room_.data() + received_, room_.size() - received_, 1, timeUntil(end));
  if (more <= 0) return giveUp(errno);
  received_ += static_cast<std::size_t>(more);
  return true;
}

// Waits for an answer to begin, or for the end of the time; TLS holds nothing of it back yet. False when nobody wants
// it any more.
bool CheckedStream::awaitAnswer(Clock::time_point end) {
  for (;;) {
    mongoc_stream_poll_t awaited{stream_.get(), POLLIN, 0};
    const std::int32_t timeout = timeUntil(std::min(end, Clock::now() + patience));
    const ssize_t ready = mongoc_stream_poll(&awaited, 1, timeout);
    // A signal, which may be the reason why nobody wants the answer any more, ends a wait and is no failure.
    const bool isInterrupted = ready < 0 && errno == EINTR;
    if (ready > 0 || (ready < 0 && !isInterrupted) || Clock::now() >= end) return true;
    if (cancellation_.isWanted()) continue;
    fail("cancelled by the caller");
    return false;
  }
}

// Tells whether there is nothing yet or nothing more.
bool CheckedStream::giveUp(int error) {
  if (!mongoc_stream_should_retry(stream_.get()) && !mongoc_stream_timed_out(stream_.get())) {
    const std::string end = received_ == 0 ? "the connection ended" : "damaged answer: the connection ended within it";
    fail(error == 0 ? end : end + ": " + std::generic_category().message(error));
  } else if (handshakeEnd_ != never && Clock::now() + earlyWaking >= handshakeEnd_) {
    fail("timeout: no end of the handshake within " + std::to_string(handshakeTime_) + " ms", true);
  } else {
    error_ = EAGAIN;
  }
  return false;
}

void CheckedStream::accept() {
  if (received_ > expected_) throw DamagedAnswer("more bytes than its length says");
  answer_ = {room_.data(), expected_};
  checkAnswer(answer_, request_, plain_);
  if (!plain_.empty()) answer_ = {plain_.data(), plain_.size()};
  if (request_.purpose == Purpose::greeting && handshakeEnd_ != never) {
    handshakeLeft_ = handshakeEnd_ - Clock::now();
    handshakeEnd_ = never;
  }
}

void CheckedStream::forget() {
  answer_ = {};
  handedOver_ = received_ = expected_ = 0;
  plain_ = {};
  if (room_.size() > largestKept) room_.drop();
}

int CheckedStream::close() {
  return stream_ ? mongoc_stream_close(stream_.get()) : 0;
}

int CheckedStream::flush() {
  return stream_ ? mongoc_stream_flush(stream_.get()) : 0;
}

int CheckedStream::setOption(int level, int name, void* value, mongoc_socklen_t size) {
  return stream_ ? mongoc_stream_setsockopt(stream_.get(), level, name, value, size) : 0;
}

bool CheckedStream::isClosed() {
  return failed_ || received_ > 0 || !stream_ || mongoc_stream_check_closed(stream_.get());
}

}  // namespace

mongoc_stream_t* openCheckedStream(const mongoc_uri_t* uri, const mongoc_host_list_t* host, void* context,
                                   bson_error_t* error) {
  const auto& shared = *static_cast<const StreamContext*>(context);
  Breakage* const told = shared.breakage;
  try {
    auto stream = std::make_unique<CheckedStream>(uri, *host, shared);
    if (!stream->isFailed()) return stream.release()->handle();
  } catch (const std::exception& problem) {
    *told = {problem.what(), false};
  }
  bson_set_error(error, MONGOC_ERROR_STREAM, MONGOC_ERROR_STREAM_CONNECT, "%s", told->reason.c_str());
  return nullptr;
}

}  // namespace database_client::server
