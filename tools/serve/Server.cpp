// SPDX-License-Identifier: Apache-2.0
#include "tools/serve/Server.h"

#include <httplib.h>
#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <thread>
#include <utility>

#include "tools/serve/Connections.h"
#include "tools/serve/PageFile.h"
#include "tools/terminal/Interrupt.h"
#include "tools/values/Errors.h"
#include "values/Text.h"

// The HTTP of `recordctl serve`: who is let in, what every answer says about itself, and where requests go.
//
// cpp-httplib reads requests and writes answers. It gives a thread to each connection, though, so that as many idle
// connections as it has threads would shut everybody else out; here a connection waits in `Connections` until a request
// stands in it, and only then meets the library, through a stream of ours.
//
// - Every request passes `admit` first: whatever its path, the Host must be loopback's (another name that leads to this
//   machine would let a foreign page read answers), a foreign Origin is turned away, and the token must be there. Only
//   then is anything looked at that it asks for, and only then its body read.
// - Nothing on the disk is served. The page's files are in the program, so no path leads elsewhere.
// - No header of an answer holds text of a request.
// - A question is given up when its browser has closed the connection, and when the server ends.

namespace database_provider::recordctl {

namespace {

constexpr std::size_t servingThreads = 16;
constexpr std::size_t largestBody = 256 * 1024;
constexpr const char* tokenHeader = "X-Recordctl-Token";
constexpr const char* loopback = "127.0.0.1";

/// The connection that this thread serves.
thread_local Socket* current = nullptr;

bool goesOn() {
  return !wasInterrupted();
}

/// Whether whoever asked still waits for the answer.
bool isAwaited() {
  return goesOn() && (current == nullptr || current->isOpen());
}

class SocketStream : public httplib::Stream {
 public:
  explicit SocketStream(Socket& socket) : socket_(socket) {}

  bool is_readable() const override { return true; }
  bool is_writable() const override { return goesOn() && socket_.isOpen(); }
  ssize_t read(char* bytes, size_t size) override { return socket_.read(bytes, size); }
  ssize_t write(const char* bytes, size_t size) override { return socket_.write(bytes, size, goesOn); }
  void get_remote_ip_and_port(std::string& ip, int& port) const override { set(ip, port); }
  void get_local_ip_and_port(std::string& ip, int& port) const override { set(ip, port); }
  socket_t socket() const override { return socket_.descriptor(); }

 private:
  static void set(std::string& ip, int& port) {
    ip = loopback;
    port = 0;
  }

  Socket& socket_;
};

/// Runs what is put in at once: to take a connection is all that the accepting thread does.
class AtOnce : public httplib::TaskQueue {
 public:
  void enqueue(std::function<void()> task) override { task(); }
  void shutdown() override {}
};

bool areEqual(const std::string& left, const std::string& right) {
  return left.size() == right.size() && CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

/// The value of a cookie; empty without it.
std::string cookie(const httplib::Request& request, const std::string& name) {
  const std::string all = request.get_header_value("Cookie");
  for (std::size_t at = 0; at < all.size();) {
    const std::size_t end = std::min(all.find(';', at), all.size());
    const std::size_t start = all.find_first_not_of(' ', at);
    if (start < end && all.compare(start, name.size() + 1, name + "=") == 0)
      return all.substr(start + name.size() + 1, end - start - name.size() - 1);
    at = end + 1;
  }
  return "";
}

std::string queryOf(const std::string& target) {
  const std::size_t mark = target.find('?');
  return mark == std::string::npos ? "" : target.substr(mark + 1, target.find('#', mark) - mark - 1);
}

/// The query without the token, and the token.
std::pair<std::string, std::string> withoutToken(const std::string& query) {
  std::string rest;
  std::string token;
  for (std::size_t at = 0; at < query.size();) {
    const std::size_t end = std::min(query.find('&', at), query.size());
    const std::string piece = query.substr(at, end - at);
    if (piece.compare(0, 6, "token=") == 0)
      token = piece.substr(6);
    else
      rest += (rest.empty() ? "" : "&") + piece;
    at = end + 1;
  }
  return {rest, token};
}

const char* typeOf(std::string_view name) {
  const std::string_view ending = name.substr(name.rfind('.') + 1);
  if (ending == "html") return "text/html; charset=utf-8";
  if (ending == "css") return "text/css; charset=utf-8";
  if (ending == "svg") return "image/svg+xml";
  return "text/javascript; charset=utf-8";
}

/// Ends a stream that nobody takes any more.
class NobodyThere : public std::runtime_error {
 public:
  NobodyThere() : std::runtime_error("the connection was closed") {}
};

void give(Answer answer, httplib::Response& response) {
  response.status = answer.status;
  if (!answer.fileName.empty())
    response.set_header("Content-Disposition", "attachment; filename=\"" + answer.fileName + "\"");
  if (!answer.stream) {
    response.set_content(answer.body, answer.type);
    return;
  }
  response.set_chunked_content_provider(
      answer.type, [stream = std::move(answer.stream)](std::size_t, httplib::DataSink& sink) {
        try {
          stream([&sink](const std::string& piece) {
            if (!piece.empty() && !sink.write(piece.data(), piece.size())) throw NobodyThere();
          });
        } catch (const std::exception&) {
          return false;  // the connection breaks off without its last chunk: the answer is not whole
        }
        sink.done();
        return true;
      });
}

}  // namespace

class Server::Http : private httplib::Server {
 public:
  Http(const ServeOptions& options, About about, Clients& clients)
      : options_(options),
        token_(newToken()),
        api_(
            [&] {
              about.token = token_;
              about.mayWrite = options.mayWrite;
              return std::move(about);
            }(),
            clients),
        connections_(servingThreads, [this](Socket& connection) { return serve(connection); }) {
    new_task_queue = [] { return new AtOnce; };
    set_payload_max_length(largestBody);
    // Without the library's SO_REUSEPORT, by which a second program could take half of the connections.
    set_socket_options([](socket_t socket) {
      const int yes = 1;
      ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    });
    set_default_headers({{"Content-Security-Policy",
                          "default-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'; "
                          "object-src 'none'"},
                         {"X-Content-Type-Options", "nosniff"},
                         {"X-Frame-Options", "DENY"},
                         {"Referrer-Policy", "no-referrer"},
                         {"Cross-Origin-Resource-Policy", "same-origin"},
                         {"Cross-Origin-Opener-Policy", "same-origin"},
                         {"Cache-Control", "no-store"}});
    set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
      return handle(request, response) ? HandlerResponse::Handled : HandlerResponse::Unhandled;
    });
    Post("/api/[a-z]+",
         [this](const httplib::Request& request, httplib::Response& response) { post(request, response); });
    set_error_handler([](const httplib::Request&, httplib::Response& response) {
      if (!response.body.empty()) return;
      const char* reason = response.status == 413   ? "the request is too large"
                           : response.status == 414 ? "the address is too long; ask with POST"
                                                    : "the request cannot be read";
      response.set_content(errorAnswer(response.status, reason).body, "application/json");
    });
    port_ = options.port == 0 ? bind_to_any_port(loopback) : options.port;
    if (port_ < 0 || (options.port != 0 && !bind_to_port(loopback, port_)))
      throw UsageError("port " + std::to_string(options.port) +
                       " is taken; --port N takes another one, --port 0 any that is free");
    cookie_ = "recordctl-" + std::to_string(port_);
    listening_ = std::thread([this] { listen_after_bind(); });
  }

  ~Http() override {
    while (!is_running()) std::this_thread::yield();  // stop() does nothing before
    stop();
    listening_.join();
    connections_.stop();
  }
  Http(const Http&) = delete;
  Http& operator=(const Http&) = delete;

  std::string address() const {
    return "http://" + std::string(loopback) + ":" + std::to_string(port_) + "/" +
           (options_.needsToken ? "?token=" + token_ : "");
  }

 private:
  bool process_and_close_socket(socket_t socket) override {
    connections_.add(socket);
    return true;
  }

  /// A request with a body, or with a head that is none, is the last of its connection: what was not read of it cannot
  /// be taken for the next one.
  bool serve(Socket& connection) {
    const std::string& head = connection.received();
    const std::string fields = values::lowered(head.substr(0, head.find("\r\n\r\n")));
    const bool isLast = head.compare(0, 4, "GET ") != 0 || fields.find("\r\ncontent-length:") != std::string::npos ||
                        fields.find("\r\ntransfer-encoding:") != std::string::npos;
    current = &connection;
    SocketStream stream(connection);
    bool isClosed = false;
    const bool isServed = process_request(stream, isLast, isClosed, nullptr);
    current = nullptr;
    return isServed && !isLast && !isClosed && goesOn();
  }

  bool isLoopbackHost(const std::string& host) const {
    const std::string port = ":" + std::to_string(port_);
    constexpr std::array<const char*, 3> names = {"127.0.0.1", "localhost", "[::1]"};
    return std::any_of(names.begin(), names.end(),
                       [&](const char* name) { return host == name + port || (port_ == 80 && host == name); });
  }

  /// Why a request is not let in; empty where it is. Sets the cookie for a token that came in the address.
  std::string whyRefused(const httplib::Request& request, const std::string& tokenInAddress,
                         httplib::Response& response) const {
    if (request.get_header_value_count("Host") != 1 || !isLoopbackHost(request.get_header_value("Host")))
      return "the host of the address is none of this machine's loopback";
    const bool isForeign = (request.has_header("Origin") &&
                            request.get_header_value("Origin") != "http://" + request.get_header_value("Host")) ||
                           (request.get_header_value("Sec-Fetch-Site") == "cross-site" &&
                            request.get_header_value("Sec-Fetch-Mode") != "navigate");
    if (isForeign) return "another page may not ask";
    if (!options_.needsToken) return "";
    if (areEqual(tokenInAddress, token_)) {
      response.set_header("Set-Cookie", cookie_ + "=" + token_ + "; Path=/; HttpOnly; SameSite=Strict");
      return "";
    }
    if (areEqual(cookie(request, cookie_), token_) || areEqual(request.get_header_value(tokenHeader), token_))
      return "";
    return "open the address that recordctl serve has printed; it holds a token";
  }

  static void refuse(int status, const std::string& reason, httplib::Response& response) {
    give(errorAnswer(status, reason), response);
  }

  /// Answers everything but what has a body to be read first; whether it did.
  bool handle(const httplib::Request& request, httplib::Response& response) {
    const auto [query, tokenInAddress] = withoutToken(queryOf(request.target));
    const std::string reason = whyRefused(request, tokenInAddress, response);
    if (!reason.empty()) {
      refuse(403, reason, response);
      return true;
    }
    const std::string escaped = request.target.substr(0, request.target.find_first_of("?#"));
    const auto path = percentDecoded(escaped, false);
    const bool isRead = request.method == "GET" || request.method == "HEAD";
    constexpr std::string_view api = "/api/";
    const bool isApi = path && path->compare(0, api.size(), api) == 0;
    if (!path)
      refuse(400, "the address is broken off in an escape", response);
    else if (request.method == "POST" && isApi)
      return !isPostable(escaped, response);
    else if (!isRead)
      refuse(405, "GET reads; changes are POST to /api/set", response);
    else if (isApi)
      give(api_.answer(path->substr(api.size()), query, isAwaited), response);
    else if (!tokenInAddress.empty() && *path == "/")
      redirect(query.empty() ? "/" : "/?" + query, response);
    else
      givePage(*path == "/" ? "index.html" : path->substr(1), response);
    return true;
  }

  /// The characters of a target were checked when the request was read; a line's end is not among them.
  static void redirect(const std::string& where, httplib::Response& response) {
    response.status = 303;
    response.set_header("Location", where);
  }

  static void givePage(const std::string& name, httplib::Response& response) {
    const PageFile* file = findPageFile(name);
    if (file == nullptr) return refuse(404, "there is no such page", response);
    response.status = 200;
    response.set_content(file->content.data(), file->content.size(), typeOf(name));
  }

  /// Questions that are too long for an address come with POST, too.
  static bool isPostable(const std::string& path, httplib::Response& response) {
    constexpr std::array<const char*, 10> known = {"/api/set",       "/api/count",   "/api/list",       "/api/stats",
                                                   "/api/coverage",  "/api/compare", "/api/conditions", "/api/facets",
                                                   "/api/histogram", "/api/export"};
    if (std::any_of(known.begin(), known.end(), [&path](const char* one) { return path == one; })) return true;
    refuse(404, "nothing is sent there", response);
    return false;
  }

  void post(const httplib::Request& request, httplib::Response& response) {
    const std::string path = request.target.substr(5, request.target.find_first_of("?#") - 5);
    if (path != "set") return give(answerLong(path, request), response);
    if (!options_.mayWrite) return refuse(403, "this store is only shown; serve --write lets it be changed", response);
    if (!areEqual(request.get_header_value(tokenHeader), token_))
      return refuse(403, std::string("a change brings the token in the header ") + tokenHeader, response);
    give(api_.change(request.body, isAwaited), response);
  }

  /// The name of a facet or histogram, which stands in the path else, is in a header's place the value of "name".
  Answer answerLong(const std::string& path, const httplib::Request& request) const {
    if (path != "facets" && path != "histogram") return api_.answer(path, request.body, isAwaited);
    constexpr std::string_view name = "name=";
    if (request.body.compare(0, name.size(), name) != 0) return errorAnswer(400, "name: is missing at the beginning");
    const std::size_t end = std::min(request.body.find('&'), request.body.size());
    const auto decoded = percentDecoded(request.body.substr(name.size(), end - name.size()), true);
    if (!decoded) return errorAnswer(400, "name: is broken off in an escape");
    return api_.answer(path + "/" + *decoded, request.body.substr(std::min(end + 1, request.body.size())), isAwaited);
  }

  ServeOptions options_;
  std::string token_;
  Api api_;
  std::string cookie_{};
  int port_ = 0;
  Connections connections_;
  std::thread listening_{};
};

std::string newToken() {
  std::array<unsigned char, 16> bytes{};
  if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1)
    throw std::runtime_error("this machine gives no random numbers");
  std::string result;
  for (const unsigned char byte : bytes) {
    constexpr const char* digits = "0123456789abcdef";
    result += digits[byte >> 4U];
    result += digits[byte & 15U];
  }
  return result;
}

std::string whyNoServer() {
  return "";
}

Server::Server(const ServeOptions& options, About about, Clients& clients)
    : http_(std::make_unique<Http>(options, std::move(about), clients)) {}

Server::~Server() = default;

std::string Server::address() const {
  return http_->address();
}

}  // namespace database_provider::recordctl
