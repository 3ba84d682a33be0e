// SPDX-License-Identifier: MIT
// BrokerError: why there is no working connection to a broker.
#pragma once

#include <stdexcept>
#include <string>

namespace queue {

class BrokerError : public std::runtime_error {
 public:
  enum Cause {
    kBroken,   // nobody there, cut off, or silent: later it may go
    kRefused,  // the login, the virtual host, the certificate, a queue's settings: it will never go like this
    kMissing,  // a queue that does not exist
    kPublish,  // what was published is refused, and the channel with it
  };

  BrokerError(Cause cause, const std::string& text) : std::runtime_error(text), cause_(cause) {}

  Cause cause() const { return cause_; }

 private:
  Cause cause_;
};

}  // namespace queue
