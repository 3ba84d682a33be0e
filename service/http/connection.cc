// SPDX-License-Identifier: MIT
// Heads are read strictly here, before the parser of Boost.Beast sees them, and Beast reads the body. One
// read, one write and one timer are on their way at a time; a request that is at work has none but a watch on
// the client's end.
#include "connection.h"

#include "head_check.h"
#include "listen_socket.h"

#include <boost/asio/write.hpp>
#include <boost/beast/http/parser.hpp>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>
#include <ctime>
#include <new>
#include <utility>

namespace service {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLongestHeadTime{10000};
constexpr std::chrono::milliseconds kLinger{2000};
constexpr std::uint64_t kMostDiscarded = 1u << 20;  // of a refused request, or as much as two bodies
constexpr std::uint64_t kMostHeld = 512u << 20;     // bytes of bodies that come and go, of all connections
constexpr std::size_t kSmallBody = 64u << 10;       // of an answer that is not counted
constexpr int kClientGone = 499;                    // in log and metrics, as proxies have it
// What the kernel takes of a response beyond what the client is ready for. Megabytes, as it would by itself,
// are a lot for many clients that read slowly, and the time to copy them is one in which nobody else is
// served.
constexpr int kMostUnsent = 256 << 10;

std::string Date() {
  const std::time_t now = std::time(nullptr);
  std::tm parts = {};
  gmtime_r(&now, &parts);
  char text[64];
  constexpr const char* kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::snprintf(text, sizeof text, "%s, %02d %s %04d %02d:%02d:%02d GMT", kDays[parts.tm_wday], parts.tm_mday,
                kMonths[parts.tm_mon], parts.tm_year + 1900, parts.tm_hour, parts.tm_min, parts.tm_sec);
  return text;
}

// A body that grows as its bytes come. The library's own takes as much memory at once as a client says that
// it will send.
struct GrowingBody {
  using value_type = std::string;

  class reader {
   public:
    template <bool isRequest, typename Fields>
    reader(http::header<isRequest, Fields>&, value_type& body) : body_(body) {}

    template <typename Length>
    void init(const Length&, error_code& error) {
      error = {};
    }

    std::size_t put(const asio::const_buffer& bytes, error_code& error) {
      error = {};
      body_.append(static_cast<const char*>(bytes.data()), bytes.size());
      return bytes.size();
    }

    void finish(error_code& error) { error = {}; }

   private:
    value_type& body_;
  };
};

// The library takes any bytes between the quotation marks of a chunk's extension.
struct ExtensionCheck {
  void operator()(std::uint64_t, std::string_view extension, error_code& error) const {
    error = {};
    if (HasControl(extension)) error = http::error::bad_chunk_extension;
  }
};

}  // namespace

struct Connection::Parser {
  explicit Parser(std::uint64_t limit) {
    request.eager(true);
    request.header_limit(2 * kLargestHead);
    request.body_limit(limit);
    request.on_chunk_header(extensionCheck);
  }
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  // Those of the trailer are among them.
  bool AreTooManyFields() const {
    int count = 0;
    std::size_t bytes = 0;
    for (const auto& field : request.get()) {
      ++count;
      bytes += field.name_string().size() + std::string_view(": \r\n").size() + field.value().size();
    }
    return count > kMostFields || bytes > kLargestHead;
  }

  std::string Field(http::field field) const {
    const auto value = request.get()[field];
    return {value.data(), value.size()};
  }

  // Of a field that may come several times, which means the same as one list.
  std::string List(http::field field) const {
    std::string list;
    const auto [from, to] = request.get().equal_range(field);
    for (auto at = from; at != to; ++at) {
      if (!list.empty()) list += ", ";
      list.append(at->value().data(), at->value().size());
    }
    return list;
  }

  ExtensionCheck extensionCheck;
  http::request_parser<GrowingBody> request;
};

Connection::Connection(Socket&& socket, Transport& transport)
    : socket_(std::move(socket)), timer_(socket_.get_executor()), transport_(transport) {
  request_.client = PeerOf(socket_.native_handle());
  request_.local = LocalOf(socket_.native_handle());
}

Connection::~Connection() = default;

void Connection::Start() {
  setsockopt(socket_.native_handle(), IPPROTO_TCP, TCP_NOTSENT_LOWAT, &kMostUnsent, sizeof kMostUnsent);
  BeginRequest();
}

void Connection::BeginRequest() {
  Request next;
  next.client = std::move(request_.client);
  next.local = std::move(request_.local);
  next.id = transport_.prefix + std::to_string(transport_.nextRequest++);
  next.method = next.path = "-";
  request_ = std::move(next);
  parser_.reset();
  keepsAlive_ = false;
  since_ = Clock::now();
  state_ = bytes_.empty() ? State::kSilent : State::kHead;
  const auto headTime = std::min(kLongestHeadTime, transport_.options.clientTime);
  Wait(state_ == State::kHead || isFirst_ ? headTime : transport_.options.clientTime);
  isFirst_ = false;
  Continue();
}

void Connection::Wait(std::chrono::milliseconds time) {
  timer_.expires_after(time);
  timer_.async_wait([weak = weak_from_this()](const error_code& error) {
    const auto self = weak.lock();
    if (self && !error && self->timer_.expiry() <= Clock::now()) self->OnDeadline();
  });
}

void Connection::OnDeadline() {
  const bool isAsking = state_ == State::kHead || state_ == State::kBody;
  if (state_ == State::kWriting) {
    // Else the kernel goes on with what the client has not taken, for as long as that one likes.
    const linger reset = {1, 0};
    setsockopt(socket_.native_handle(), SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
  }
  if (!isAsking) return Close();
  Refuse({Problem::kSlowRequest, state_ == State::kHead ? "the head of the request was not there in time"
                                                        : "the body of the request was not there in time"});
}

void Connection::Read() {
  if (isReading_) return;
  isReading_ = true;
  socket_.async_read_some(asio::buffer(piece_),
                          [self = shared_from_this()](const error_code& error, std::size_t count) {
                            self->isReading_ = false;
                            if (self->state_ == State::kClosed) return;
                            if (error) return self->Close();
                            self->WithMemory([&self, count] { self->OnBytes(count); });
                          });
}

void Connection::OnBytes(std::size_t count) {
  if (state_ == State::kLingering) {
    discarded_ += count;
    return discarded_ > std::max(kMostDiscarded, 2 * transport_.options.maxBody) ? Close() : Read();
  }
  bytes_.append(piece_.data(), count);
  // What comes behind the body is the next request's.
  if (state_ == State::kJob || state_ == State::kWriting) return;
  if (state_ == State::kSilent) {
    state_ = State::kHead;
    since_ = Clock::now();
    Wait(std::min(kLongestHeadTime, transport_.options.clientTime));
  }
  Continue();
}

void Connection::Continue() {
  if (state_ == State::kSilent) return transport_.isDraining ? Close() : Read();
  if (state_ == State::kBody) return TakeBody();
  const std::size_t end = bytes_.find("\r\n\r\n");
  const std::size_t size = end == std::string::npos ? bytes_.size() : end + 4;
  if (CannotBeHead(std::string_view(bytes_).substr(0, size))) {
    return Refuse(
        {Problem::kBadRequest, "this is no request of HTTP/1.1, or a line does not end as it has to"});
  }
  if (size > kLargestHead) {
    return Refuse(
        {Problem::kHeadTooLarge, "the head has more than " + std::to_string(kLargestHead) + " bytes"});
  }
  end == std::string::npos ? Read() : TakeHead(size);
}

void Connection::TakeHead(std::size_t size) {
  const std::string_view head = std::string_view(bytes_).substr(0, size);
  const auto lines = std::count(head.begin(), head.end(), '\n');
  if (lines > kMostFields + 2) {
    return Refuse(
        {Problem::kHeadTooLarge, "the head has more than " + std::to_string(kMostFields) + " fields"});
  }
  const std::string why = WhyHeadIsRefused(head);
  if (!why.empty()) return Refuse({Problem::kBadRequest, why});
  parser_ = std::make_unique<Parser>(transport_.options.maxBody);
  error_code error;
  parser_->request.put(asio::buffer(bytes_.data(), size), error);
  if (error && error != http::error::need_more && error != http::error::body_limit) {
    return Refuse({Problem::kBadRequest, "the head cannot be read: " + error.message()});
  }
  bytes_.erase(0, size);
  ReadHead();
  if (std::optional<Response> refusal = transport_.service.Refuse(request_)) {
    if (!parser_->request.is_done()) refusal->close = true;
    return Send(std::move(*refusal));
  }
  if (error == http::error::body_limit) {
    return Refuse({Problem::kBodyTooLarge,
                   "the body has more than " + std::to_string(transport_.options.maxBody) + " bytes"});
  }
  state_ = State::kBody;
  Wait(transport_.options.clientTime);
  const bool isAwaited = strcasecmp(parser_->Field(http::field::expect).c_str(), "100-continue") == 0;
  if (!isAwaited || parser_->request.is_done() || !bytes_.empty()) return TakeBody();
  static constexpr char kGoOn[] = "HTTP/1.1 100 Continue\r\n\r\n";
  asio::async_write(socket_, asio::buffer(kGoOn, sizeof kGoOn - 1),
                    [self = shared_from_this()](const error_code& failure, std::size_t) {
                      if (self->state_ != State::kBody) return;
                      failure ? self->Close() : self->WithMemory([&self] { self->TakeBody(); });
                    });
}

void Connection::ReadHead() {
  const auto& head = parser_->request.get();
  request_.method = std::string(head.method_string().data(), head.method_string().size());
  const std::string target(head.target().data(), head.target().size());
  const std::size_t mark = std::min(target.find('?'), target.size());
  request_.path = target.substr(0, mark);
  request_.query = mark < target.size() ? target.substr(mark + 1) : "";
  request_.host = parser_->Field(http::field::host);
  request_.contentType = parser_->Field(http::field::content_type);
  request_.accept = parser_->List(http::field::accept);
  request_.origin = parser_->Field(http::field::origin);
  request_.authorization = parser_->Field(http::field::authorization);
  request_.ifNoneMatch = parser_->List(http::field::if_none_match);
  request_.isPreflight = head.find(http::field::access_control_request_method) != head.end();
  keepsAlive_ = head.keep_alive();
}

void Connection::TakeBody() {
  auto& parser = parser_->request;
  error_code error;
  std::size_t taken = 0;
  while (taken < bytes_.size() && !parser.is_done() && !error) {
    taken += parser.put(asio::buffer(bytes_.data() + taken, bytes_.size() - taken), error);
  }
  bytes_.erase(0, taken);
  if (!Hold(taken))
    return Refuse({Problem::kBusy, "the bodies of other requests take all the memory for them"});
  if (error == http::error::body_limit) {
    return Refuse({Problem::kBodyTooLarge,
                   "the body has more than " + std::to_string(transport_.options.maxBody) + " bytes"});
  }
  if (error && error != http::error::need_more) {
    return Refuse({Problem::kBadRequest, "the body cannot be read: " + error.message()});
  }
  const bool isTooMuch = parser.is_done() ? parser_->AreTooManyFields() : bytes_.size() > kLargestHead;
  if (isTooMuch) {
    return Refuse({Problem::kHeadTooLarge,
                   "with its trailer the head has more than " + std::to_string(kLargestHead) + " bytes or " +
                       std::to_string(kMostFields) + " fields, or a line between chunks has"});
  }
  parser.is_done() ? Answer() : Read();
}

bool Connection::Hold(std::size_t bytes) {
  held_ += bytes;
  transport_.held += bytes;
  // What is alone may be of any size.
  return transport_.held == held_ || transport_.held <= std::max(kMostHeld, 2 * transport_.options.maxBody);
}

void Connection::LetGo() {
  transport_.held -= held_;
  held_ = 0;
}

void Connection::Answer() {
  state_ = State::kJob;
  // Not cancel(), which leaves a handler alone that is due already.
  timer_.expires_at(Clock::time_point::max());
  const std::uint64_t serial = ++answered_;
  Request asked = request_;
  asked.body = std::move(parser_->request.get().body());
  ticket_ = 0;
  const JobDesk::Ticket ticket =
      transport_.service.Handle(std::move(asked), [weak = weak_from_this(), serial](Response&& response) {
        const auto self = weak.lock();
        if (!self || self->state_ != State::kJob || self->answered_ != serial) return;
        self->ticket_ = 0;
        self->WithMemory([&] { self->Send(std::move(response)); });
      });
  if (state_ != State::kJob) return;
  ticket_ = ticket;
  WatchForEnd();
}

// A client that has gone frees the place of its job. One that has sent its next request has not.
void Connection::WatchForEnd() {
  if (!bytes_.empty()) return;
  socket_.async_wait(
      Socket::wait_read, [self = shared_from_this(), serial = answered_](const error_code& error) {
        if (error || self->state_ != State::kJob || self->answered_ != serial) return;
        char next = 0;
        const ssize_t count = recv(self->socket_.native_handle(), &next, 1, MSG_PEEK | MSG_DONTWAIT);
        if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) self->Close();
      });
}

template <typename Step>
void Connection::WithMemory(Step step) {
  try {
    return step();
  } catch (const std::bad_alloc&) {
    parser_.reset();
    bytes_ = std::string();
    if (state_ != State::kHead && state_ != State::kBody && state_ != State::kJob) return Close();
  }
  try {
    Refuse({Problem::kBusy, "there is no memory for the request"});
  } catch (const std::bad_alloc&) {
    Close();
  }
}

void Connection::TurnAway() {
  BeginRequest();
  Refuse({Problem::kTooManyConnections, "there are as many connections as there may be"});
}

void Connection::Refuse(const Problem& problem) {
  Send(transport_.service.Finished(ResponseOf(problem), request_, "other"));
}

std::string Connection::HeadOf(const Response& response, std::size_t bytes) const {
  std::string head = "HTTP/1.1 " + std::to_string(response.status) + " " + PhraseOf(response.status) + "\r\n";
  const auto add = [&head](std::string_view name, std::string_view value) {
    head.append(name).append(": ");
    // Nothing that a client sent ends a line.
    for (const char c : value) head += c == '\r' || c == '\n' ? ' ' : c;
    head += "\r\n";
  };
  add("Date", Date());
  for (const auto& [name, value] : response.headers) add(name, value);
  if (response.status != 204 && response.status != 304) add("Content-Length", std::to_string(bytes));
  add("Connection", keepsAlive_ ? "keep-alive" : "close");
  return head + "\r\n";
}

void Connection::Send(Response&& response) {
  state_ = State::kWriting;
  LetGo();
  if (response.body && response.body->size() > kSmallBody && !Hold(response.body->size())) {
    LetGo();
    response = transport_.service.Finished(
        ResponseOf({Problem::kBusy, "other answers take all the memory for them"}), request_,
        response.endpoint);
  }
  response_ = std::move(response);
  keepsAlive_ = keepsAlive_ && !response_.close && !transport_.isDraining;
  const std::size_t bytes = response_.body ? response_.body->size() : 0;
  head_ = HeadOf(response_, bytes);
  if (request_.method == "HEAD") response_.body.reset();
  Wait(transport_.options.clientTime);
  const std::array<asio::const_buffer, 2> parts = {
      asio::buffer(head_), response_.body ? asio::buffer(*response_.body) : asio::const_buffer()};
  asio::async_write(socket_, parts, [self = shared_from_this()](const error_code& error, std::size_t) {
    if (self->state_ != State::kWriting) return;
    error ? self->Close() : self->WithMemory([&self] { self->OnSent(); });
  });
}

void Connection::OnSent() {
  transport_.metrics.CountRequest(response_.endpoint, response_.status);
  const double seconds = std::chrono::duration<double>(Clock::now() - since_).count();
  transport_.log.Write(request_, response_, response_.body ? response_.body->size() : 0, seconds);
  response_ = {};
  LetGo();
  keepsAlive_ ? BeginRequest() : Linger();
}

// A request that will have no answer, or not all of it.
void Connection::NoteGone() {
  Response gone;
  gone.status = kClientGone;
  gone.endpoint = response_.endpoint.empty() ? "other" : response_.endpoint;
  transport_.metrics.CountRequest(gone.endpoint, gone.status);
  transport_.log.Write(request_, gone, 0, std::chrono::duration<double>(Clock::now() - since_).count());
}

// Closing while bytes are on their way here would end the connection before the client has read the response.
void Connection::Linger() {
  state_ = State::kLingering;
  error_code ignored;
  socket_.shutdown(Socket::shutdown_send, ignored);
  Wait(kLinger);
  Read();
}

void Connection::Drain() {
  if (state_ == State::kSilent) Close();
}

void Connection::Close() {
  if (state_ == State::kClosed) return;
  if (state_ == State::kBody || state_ == State::kJob || state_ == State::kWriting) NoteGone();
  state_ = State::kClosed;
  LetGo();
  timer_.cancel();
  if (ticket_ != 0) transport_.service.TakeBack(ticket_);
  ticket_ = 0;
  error_code ignored;
  socket_.close(ignored);
  transport_.ended(shared_from_this());
}

}  // namespace service
