// SPDX-License-Identifier: MIT
// The options of subcommands that talk to a broker.
#pragma once

#include "queue/connection.h"

#include <CLI/CLI.hpp>

#include <string>

namespace cli {

struct BrokerOptions {
  std::string amqpFile;
  std::string jobQueue;
  std::string resultQueue;
  bool declare = false;
  queue::Connection::Settings settings;
};

// Where the broker and the queues are: --amqp-file, --ca-file, --queue, --result-queue and --declare. The
// record must live as long as the command.
void AddBrokerOptions(CLI::App& command, BrokerOptions& options);

// Completes the settings with the address and a name. Throws UsageError when there is no address, and
// jobs::Error for one that is none.
void ReadBrokerAddress(BrokerOptions& options);

}  // namespace cli
