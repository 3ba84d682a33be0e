// SPDX-License-Identifier: MIT
// Connection: one connection to a broker with one channel, which takes messages from one queue and publishes
// to others with confirms. AMQP 0-9-1; the library behind it is not seen from outside.
//
// A connection belongs to one thread. What it throws is BrokerError, and nothing works after that but the
// destructor: whoever wants to go on makes a new one.
//
//   Connection connection(settings);
//   connection.Consume("jobs", 4, false);
//   Connection::Event event;
//   for (;;) {
//     while (connection.Next(event)) Handle(event);
//     AwaitReadable(connection.descriptor());   // for a second at most: heartbeats are sent by Next
//   }
#pragma once

#include "address.h"
#include "broker_error.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace queue {

// What is told of a message beside its body, each at most 255 bytes; longer ones are not sent.
struct MessageNames {
  std::string messageId;
  std::string correlationId;
};

struct Message {
  std::uint64_t tag = 0;  // of the delivery, to acknowledge it
  bool redelivered = false;
  MessageNames names;
  std::uint64_t size = 0;  // of the body
  std::string body;        // empty when it is longer than the settings allow
};

class Connection {
 public:
  struct Settings {
    Address address;
    std::string caFile;                // PEM; empty for the certificates that the system trusts
    std::string name;                  // what the broker shows of this client
    std::uint64_t longest = 16 << 20;  // bytes of a message that is kept; of longer ones only the size
  };

  struct Event {
    enum Kind {
      kDelivered,  // `message`
      kConfirmed,  // what was published as `sequence`; and all before it when `multiple`
      kNotTaken,   // the same, but the broker could not take it
      kReturned,   // no queue takes what was published with `message.names`; its confirm still comes
      kBlocked,    // the broker is full, as `text` says: it reads nothing more
      kUnblocked,
      kCanceled,  // no further deliveries: CancelConsumer was called, or the queue is gone (`text`)
    };
    Kind kind = kDelivered;
    Message message;
    std::uint64_t sequence = 0;
    bool multiple = false;
    std::string text;
  };

  // Connects, checks the certificate and its host name where the address asks for TLS, and logs in.
  explicit Connection(const Settings& settings);
  // Closes without a word; Close() is polite.
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // The messages that wait in a queue. A queue that does not exist is kMissing.
  std::uint64_t CountMessages(const std::string& queue);
  // Makes a durable queue when it is not there. What is rejected from it goes to the queue `dead`; empty for
  // nowhere. One that is there with other settings is kRefused.
  void Declare(const std::string& queue, const std::string& dead);
  // At most `prefetch` messages are delivered before they are acknowledged, 0 for any number. `exclusive`
  // when nobody else may take from the queue.
  void Consume(const std::string& queue, int prefetch, bool exclusive);
  void CancelConsumer();

  // Sends a persistent message to a queue. Returns its sequence, counted from 1. Waits while the network does
  // not take it.
  std::uint64_t Publish(const std::string& queue, std::string_view body, const MessageNames& names);
  // `multiple`: all that were delivered before it too.
  void Acknowledge(std::uint64_t tag, bool multiple);
  // To the dead-letter exchange of its queue, if it has one.
  void Reject(std::uint64_t tag);

  // The next thing that has come. False when nothing whole is at hand.
  [[nodiscard]] bool Next(Event& event);
  [[nodiscard]] int descriptor() const;

  void Close();

  // While it lives, what is sent leaves in packets as large as can be, for at most a fifth of a second: each
  // costs the broker a turn. No call that waits for an answer may be made meanwhile.
  class Together {
   public:
    explicit Together(const Connection& connection);
    ~Together();
    Together(const Together&) = delete;
    Together& operator=(const Together&) = delete;

   private:
    const Connection& connection_;
  };

 private:
  struct Private;
  std::unique_ptr<Private> p_;
};

}  // namespace queue
