// SPDX-License-Identifier: MIT
// What comes is read a frame at a time, so that a body that is too long is passed over and not kept:
//
//   basic.deliver | basic.return   ->  header (size, names)  ->  body, body ...  ->  event
//   everything else is one frame
//
// The library keeps the bytes of frames until it is told that they are not needed any more, so it is told
// behind each.
#include "connection.h"

#include "rabbitmq.h"

#include <tovkit/util.h>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <ctime>
#include <utility>

namespace queue {

namespace {

constexpr amqp_channel_t kChannel = 1;
constexpr int kLargestFrame = 131072;
constexpr time_t kConnectSeconds = 10;
constexpr time_t kAnswerSeconds = 15;
constexpr time_t kCloseSeconds = 2;
constexpr std::size_t kLongestName = 255;  // of a short string
constexpr std::uint8_t kPersistent = 2;

amqp_bytes_t BytesOf(std::string_view text) { return {text.size(), const_cast<char*>(text.data())}; }

std::string TextOf(amqp_bytes_t bytes) {
  return bytes.len == 0 ? std::string() : std::string(static_cast<const char*>(bytes.bytes), bytes.len);
}

amqp_table_entry_t TrueEntry(const char* name) {
  amqp_table_entry_t entry = {};
  entry.key = amqp_cstring_bytes(name);
  entry.value.kind = AMQP_FIELD_KIND_BOOLEAN;
  entry.value.value.boolean = 1;
  return entry;
}

amqp_table_entry_t TextEntry(const char* name, std::string_view text) {
  amqp_table_entry_t entry = {};
  entry.key = amqp_cstring_bytes(name);
  entry.value.kind = AMQP_FIELD_KIND_UTF8;
  entry.value.value.bytes = BytesOf(text);
  return entry;
}

// Codes of AMQP 0-9-1 that no second attempt changes.
BrokerError::Cause CauseOfConnectionClose(int code) {
  return code == AMQP_ACCESS_REFUSED || code == AMQP_NOT_ALLOWED ? BrokerError::kRefused
                                                                 : BrokerError::kBroken;
}

BrokerError::Cause CauseOfChannelClose(const amqp_channel_close_t& close) {
  constexpr int kQueueClass = 50;
  constexpr int kBasicClass = 60;
  constexpr int kPublishMethod = 40;
  switch (close.reply_code) {
    case AMQP_NOT_FOUND:
      return BrokerError::kMissing;
    case AMQP_ACCESS_REFUSED:
    case AMQP_RESOURCE_LOCKED:
      // Another consumer may go away.
      return TextOf(close.reply_text).find("exclusive") == std::string::npos ? BrokerError::kRefused
                                                                             : BrokerError::kBroken;
    case AMQP_PRECONDITION_FAILED:
      if (close.class_id == kQueueClass) return BrokerError::kRefused;
      return close.class_id == kBasicClass && close.method_id == kPublishMethod ? BrokerError::kPublish
                                                                                : BrokerError::kBroken;
    default:
      return BrokerError::kBroken;
  }
}

// Why TLS has failed, in the words of the library beneath; it keeps them until they are asked for.
std::string TlsReason() {
  std::string reason;
  while (const unsigned long error = ERR_get_error()) {
    const char* const words = ERR_reason_error_string(error);
    if (words != nullptr) reason = words;
  }
  return reason;
}

// Whether packets wait until they are full. Where the system refuses it, they leave one by one.
void SetCork(int socket, int on) { setsockopt(socket, IPPROTO_TCP, TCP_CORK, &on, sizeof on); }

}  // namespace

struct Connection::Private {
  explicit Private(const Settings& settings);
  ~Private() {
    if (state != nullptr) amqp_destroy_connection(state);
  }
  Private(const Private&) = delete;
  Private& operator=(const Private&) = delete;

  void Open(const Settings& settings);
  void OpenTls(const Settings& settings);
  void LogIn(const Settings& settings);

  [[noreturn]] void Fail(BrokerError::Cause cause, const std::string& text) const {
    throw BrokerError(cause, name + ": " + text);
  }
  [[noreturn]] void FailByClose(const amqp_method_t& method) const;
  // Throws unless the call has succeeded.
  void Check(const amqp_rpc_reply_t& reply, const char* what) const;
  void CheckStatus(int status, const char* what) const {
    if (status != AMQP_STATUS_OK)
      Fail(BrokerError::kBroken, std::string(what) + ": " + amqp_error_string2(status));
  }
  amqp_rpc_reply_t Reply() const { return amqp_get_rpc_reply(state); }
  void LimitAnswers(time_t seconds) const {
    const timeval limit = {seconds, 0};
    amqp_set_rpc_timeout(state, &limit);
  }

  bool TakeFrame(const amqp_frame_t& frame, Event& event);
  bool TakeMethod(const amqp_method_t& method, Event& event);
  void TakeHeader(const amqp_basic_properties_t& properties, std::uint64_t size);
  bool EndMessage(Event& event);

  std::string name;  // of the broker, for messages
  std::uint64_t longest;
  amqp_connection_state_t state;
  std::uint64_t published = 0;
  bool blocked = false;
  // The message that is coming.
  Event::Kind coming = Event::kDelivered;
  Message message;
  std::uint64_t received = 0;
};

Connection::Private::Private(const Settings& settings)
    : name(settings.address.Name()), longest(settings.longest), state(amqp_new_connection()) {
  if (state == nullptr) throw BrokerError(BrokerError::kBroken, name + ": not enough memory");
}

void Connection::Private::Check(const amqp_rpc_reply_t& reply, const char* what) const {
  if (reply.reply_type == AMQP_RESPONSE_NORMAL) return;
  if (reply.reply_type == AMQP_RESPONSE_SERVER_EXCEPTION) FailByClose(reply.reply);
  CheckStatus(reply.library_error == AMQP_STATUS_OK ? AMQP_STATUS_CONNECTION_CLOSED : reply.library_error,
              what);
}

void Connection::Private::FailByClose(const amqp_method_t& method) const {
  if (method.id == AMQP_CHANNEL_CLOSE_METHOD) {
    const auto& close = *static_cast<amqp_channel_close_t*>(method.decoded);
    Fail(CauseOfChannelClose(close), TextOf(close.reply_text));
  }
  if (method.id == AMQP_CONNECTION_CLOSE_METHOD) {
    const auto& close = *static_cast<amqp_connection_close_t*>(method.decoded);
    Fail(CauseOfConnectionClose(close.reply_code), TextOf(close.reply_text));
  }
  Fail(BrokerError::kBroken, "the broker says what is not expected");
}

void Connection::Private::Open(const Settings& settings) {
  const timeval limit = {kConnectSeconds, 0};
  if (settings.address.tls) return OpenTls(settings);
  amqp_socket_t* const socket = amqp_tcp_socket_new(state);
  if (socket == nullptr) Fail(BrokerError::kBroken, "not enough memory");
  CheckStatus(amqp_socket_open_noblock(socket, settings.address.host.c_str(), settings.address.port, &limit),
              "cannot connect");
}

void Connection::Private::OpenTls(const Settings& settings) {
  const timeval limit = {kConnectSeconds, 0};
  amqp_socket_t* const socket = amqp_ssl_socket_new(state);
  if (socket == nullptr) Fail(BrokerError::kBroken, "cannot prepare TLS");
  amqp_ssl_socket_set_verify_peer(socket, 1);
  amqp_ssl_socket_set_verify_hostname(socket, 1);
  amqp_ssl_socket_set_ssl_versions(socket, AMQP_TLSv1_2, AMQP_TLSvLATEST);
  if (settings.caFile.empty()) {
    SSL_CTX_set_default_verify_paths(static_cast<SSL_CTX*>(amqp_ssl_socket_get_context(socket)));
  } else if (amqp_ssl_socket_set_cacert(socket, settings.caFile.c_str()) != AMQP_STATUS_OK) {
    throw BrokerError(BrokerError::kRefused,
                      settings.caFile + ": no certificates of authorities can be read");
  }
  ERR_clear_error();
  const int status =
      amqp_socket_open_noblock(socket, settings.address.host.c_str(), settings.address.port, &limit);
  if (status == AMQP_STATUS_OK) return;
  const std::string reason = TlsReason();
  if (status == AMQP_STATUS_SSL_HOSTNAME_VERIFY_FAILED) {
    Fail(BrokerError::kRefused, "the certificate of the broker is not for " + settings.address.host);
  }
  if (status == AMQP_STATUS_SSL_PEER_VERIFY_FAILED || reason == "certificate verify failed") {
    Fail(BrokerError::kRefused, "the certificate of the broker comes from nobody who is trusted");
  }
  if (reason.empty()) CheckStatus(status, "cannot connect");
  Fail(BrokerError::kBroken, "TLS fails: " + reason);
}

void Connection::Private::LogIn(const Settings& settings) {
  // Without these the broker is silent when it is full, and when the queue goes away.
  amqp_table_entry_t abilities[] = {TrueEntry("connection.blocked"), TrueEntry("consumer_cancel_notify"),
                                    TrueEntry("publisher_confirms"), TrueEntry("basic.nack"),
                                    TrueEntry("authentication_failure_close")};
  amqp_table_entry_t capabilities = {};
  capabilities.key = amqp_cstring_bytes("capabilities");
  capabilities.value.kind = AMQP_FIELD_KIND_TABLE;
  capabilities.value.value.table = {static_cast<int>(std::size(abilities)), abilities};
  amqp_table_entry_t properties[] = {TextEntry("product", "tovkit"),
                                     TextEntry("version", tovkit::GetLibraryVersion()),
                                     TextEntry("connection_name", settings.name), capabilities};
  const amqp_table_t table = {static_cast<int>(std::size(properties)), properties};
  const Address& address = settings.address;
  const timeval limit = {kAnswerSeconds, 0};
  amqp_set_handshake_timeout(state, &limit);
  Check(amqp_login_with_properties(state, address.virtualHost.c_str(), kChannel, kLargestFrame,
                                   address.heartbeat, &table, AMQP_SASL_METHOD_PLAIN, address.user.c_str(),
                                   address.password.c_str()),
        "cannot log in");
  LimitAnswers(kAnswerSeconds);
  amqp_channel_open(state, kChannel);
  Check(Reply(), "cannot open a channel");
  amqp_confirm_select(state, kChannel);
  Check(Reply(), "cannot have confirms");
}

Connection::Connection(const Settings& settings) : p_(std::make_unique<Private>(settings)) {
  p_->Open(settings);
  p_->LogIn(settings);
}

Connection::~Connection() = default;

std::uint64_t Connection::CountMessages(const std::string& queue) {
  const auto* const found =
      amqp_queue_declare(p_->state, kChannel, BytesOf(queue), 1, 0, 0, 0, amqp_empty_table);
  p_->Check(p_->Reply(), "cannot ask for a queue");
  return found->message_count;
}

void Connection::Declare(const std::string& queue, const std::string& dead) {
  amqp_table_entry_t route[] = {TextEntry("x-dead-letter-exchange", ""),
                                TextEntry("x-dead-letter-routing-key", dead)};
  const amqp_table_t arguments = {static_cast<int>(std::size(route)), route};
  amqp_queue_declare(p_->state, kChannel, BytesOf(queue), 0, 1, 0, 0,
                     dead.empty() ? amqp_empty_table : arguments);
  p_->Check(p_->Reply(), "cannot make a queue");
}

void Connection::Consume(const std::string& queue, int prefetch, bool exclusive) {
  amqp_basic_qos(p_->state, kChannel, 0, static_cast<std::uint16_t>(prefetch), 0);
  p_->Check(p_->Reply(), "cannot limit what is delivered");
  amqp_basic_consume(p_->state, kChannel, BytesOf(queue), BytesOf("tovkit"), 0, 0, exclusive ? 1 : 0,
                     amqp_empty_table);
  p_->Check(p_->Reply(), "cannot take from a queue");
}

void Connection::CancelConsumer() {
  amqp_basic_cancel_t cancel = {};
  cancel.consumer_tag = BytesOf("tovkit");
  p_->CheckStatus(amqp_send_method(p_->state, kChannel, AMQP_BASIC_CANCEL_METHOD, &cancel), "cannot send");
}

std::uint64_t Connection::Publish(const std::string& queue, std::string_view body,
                                  const MessageNames& names) {
  amqp_basic_properties_t properties = {};
  properties._flags = AMQP_BASIC_CONTENT_TYPE_FLAG | AMQP_BASIC_DELIVERY_MODE_FLAG |
                      AMQP_BASIC_TIMESTAMP_FLAG | AMQP_BASIC_APP_ID_FLAG;
  properties.content_type = BytesOf("application/json");
  properties.delivery_mode = kPersistent;
  properties.timestamp = static_cast<std::uint64_t>(std::time(nullptr));
  properties.app_id = BytesOf("tovkit");
  if (!names.messageId.empty() && names.messageId.size() <= kLongestName) {
    properties._flags |= AMQP_BASIC_MESSAGE_ID_FLAG;
    properties.message_id = BytesOf(names.messageId);
  }
  if (!names.correlationId.empty() && names.correlationId.size() <= kLongestName) {
    properties._flags |= AMQP_BASIC_CORRELATION_ID_FLAG;
    properties.correlation_id = BytesOf(names.correlationId);
  }
  p_->CheckStatus(amqp_basic_publish(p_->state, kChannel, amqp_empty_bytes, BytesOf(queue), 1, 0, &properties,
                                     BytesOf(body)),
                  "cannot send");
  return ++p_->published;
}

void Connection::Acknowledge(std::uint64_t tag, bool multiple) {
  p_->CheckStatus(amqp_basic_ack(p_->state, kChannel, tag, multiple ? 1 : 0), "cannot send");
}

void Connection::Reject(std::uint64_t tag) {
  p_->CheckStatus(amqp_basic_reject(p_->state, kChannel, tag, 0), "cannot send");
}

bool Connection::Next(Event& event) {
  const timeval now = {0, 0};
  for (;;) {
    amqp_frame_t frame;
    const int status = amqp_simple_wait_frame_noblock(p_->state, &frame, &now);
    if (status == AMQP_STATUS_TIMEOUT) return false;
    p_->CheckStatus(status, "the connection is lost");
    const bool whole = p_->TakeFrame(frame, event);
    amqp_maybe_release_buffers_on_channel(p_->state, frame.channel);
    if (whole) return true;
  }
}

// True when the event is whole.
bool Connection::Private::TakeFrame(const amqp_frame_t& frame, Event& event) {
  switch (frame.frame_type) {
    case AMQP_FRAME_METHOD:
      return TakeMethod(frame.payload.method, event);
    case AMQP_FRAME_HEADER:
      TakeHeader(*static_cast<amqp_basic_properties_t*>(frame.payload.properties.decoded),
                 frame.payload.properties.body_size);
      return message.size == 0 && EndMessage(event);
    case AMQP_FRAME_BODY:
      received += frame.payload.body_fragment.len;
      if (coming == Event::kDelivered && message.size <= longest) {
        message.body.append(static_cast<const char*>(frame.payload.body_fragment.bytes),
                            frame.payload.body_fragment.len);
      }
      return received >= message.size && EndMessage(event);
    default:
      return false;
  }
}

bool Connection::Private::TakeMethod(const amqp_method_t& method, Event& event) {
  event = {};
  switch (method.id) {
    case AMQP_BASIC_DELIVER_METHOD: {
      const auto& deliver = *static_cast<amqp_basic_deliver_t*>(method.decoded);
      coming = Event::kDelivered;
      message = {};
      message.tag = deliver.delivery_tag;
      message.redelivered = deliver.redelivered != 0;
      return false;
    }
    case AMQP_BASIC_RETURN_METHOD:
      coming = Event::kReturned;
      message = {};
      return false;
    case AMQP_BASIC_ACK_METHOD: {
      const auto& ack = *static_cast<amqp_basic_ack_t*>(method.decoded);
      event.kind = Event::kConfirmed;
      event.sequence = ack.delivery_tag;
      event.multiple = ack.multiple != 0;
      return true;
    }
    case AMQP_BASIC_NACK_METHOD: {
      const auto& nack = *static_cast<amqp_basic_nack_t*>(method.decoded);
      event.kind = Event::kNotTaken;
      event.sequence = nack.delivery_tag;
      event.multiple = nack.multiple != 0;
      return true;
    }
    case AMQP_CONNECTION_BLOCKED_METHOD:
      blocked = true;
      event.kind = Event::kBlocked;
      event.text = TextOf(static_cast<amqp_connection_blocked_t*>(method.decoded)->reason);
      return true;
    case AMQP_CONNECTION_UNBLOCKED_METHOD:
      blocked = false;
      event.kind = Event::kUnblocked;
      return true;
    case AMQP_BASIC_CANCEL_METHOD:
      event.text = "the broker delivers no more";
      [[fallthrough]];
    case AMQP_BASIC_CANCEL_OK_METHOD:
      event.kind = Event::kCanceled;
      return true;
    case AMQP_CHANNEL_CLOSE_METHOD:
    case AMQP_CONNECTION_CLOSE_METHOD:
      FailByClose(method);
    default:
      return false;
  }
}

void Connection::Private::TakeHeader(const amqp_basic_properties_t& properties, std::uint64_t size) {
  if ((properties._flags & AMQP_BASIC_MESSAGE_ID_FLAG) != 0) {
    message.names.messageId = TextOf(properties.message_id);
  }
  if ((properties._flags & AMQP_BASIC_CORRELATION_ID_FLAG) != 0) {
    message.names.correlationId = TextOf(properties.correlation_id);
  }
  message.size = size;
  received = 0;
}

bool Connection::Private::EndMessage(Event& event) {
  event = {};
  event.kind = coming;
  event.message = std::exchange(message, {});
  return true;
}

int Connection::descriptor() const { return amqp_get_sockfd(p_->state); }

Connection::Together::Together(const Connection& connection) : connection_(connection) {
  SetCork(connection_.descriptor(), 1);
}

Connection::Together::~Together() { SetCork(connection_.descriptor(), 0); }

void Connection::Close() {
  // A broker that is full does not hear it.
  if (p_->blocked) return;
  p_->LimitAnswers(kCloseSeconds);
  amqp_connection_close(p_->state, AMQP_REPLY_SUCCESS);
}

}  // namespace queue
