// SPDX-License-Identifier: MIT
// Connection: one client, one request after the other.
//
// Each part of a request has a time that it may take, however slowly its bytes come: a client that sends a
// byte a second is dropped as well as one that is silent.
#pragma once

#include "access_log.h"
#include "service.h"

#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>

#include <array>
#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace service {

struct TransportOptions {
  std::uint64_t maxBody = std::uint64_t{16} << 20;  // bytes
  std::chrono::milliseconds clientTime{30000};  // for a request, for an answer, and of silence between them
};

// What connections share.
struct Transport {
  TransportOptions options;
  Service& service;
  Metrics& metrics;
  AccessLog log;
  std::function<void(const std::shared_ptr<class Connection>&)> ended =
      nullptr;  // is told of each that is no more
  bool isDraining = false;
  std::uint64_t held = 0;   // bytes of bodies whose requests are not answered
  std::string prefix = {};  // of the ids of requests
  std::uint64_t nextRequest = 1;
};

class Connection final : public std::enable_shared_from_this<Connection> {
 public:
  using Socket = boost::asio::generic::stream_protocol::socket;

  Connection(Socket&& socket, Transport& transport);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void Start();
  // Says that there are too many connections, and ends.
  void TurnAway();
  // Ends at once if nothing is asked at the moment, else behind the response.
  void Drain();
  // Ends at once.
  void Close();

 private:
  enum class State { kSilent, kHead, kBody, kJob, kWriting, kLingering, kClosed };
  struct Parser;

  void BeginRequest();
  void Wait(std::chrono::milliseconds time);
  void OnDeadline();
  void Read();
  void OnBytes(std::size_t count);
  // Takes a step. When there is no memory for it the request is given up, and what it has let go.
  template <typename Step>
  void WithMemory(Step step);
  void Continue();
  void TakeHead(std::size_t size);
  void ReadHead();
  void TakeBody();
  // Counts bytes of a body, and what of them there were when the request is answered. False when all
  // connections together hold too many.
  [[nodiscard]] bool Hold(std::size_t bytes);
  void LetGo();
  void Answer();
  void WatchForEnd();
  void Refuse(const Problem& problem);
  void Send(Response&& response);
  std::string HeadOf(const Response& response, std::size_t bytes) const;
  void OnSent();
  void NoteGone();
  void Linger();

  Socket socket_;
  boost::asio::steady_timer timer_;
  Transport& transport_;
  State state_ = State::kSilent;
  bool isReading_ = false;
  std::array<char, 16384> piece_;
  std::string bytes_;  // that have come and are not taken
  std::unique_ptr<Parser> parser_;
  Request request_;
  bool keepsAlive_ = true;
  bool isFirst_ = true;
  std::chrono::steady_clock::time_point since_;  // the request began
  JobDesk::Ticket ticket_ = 0;
  std::uint64_t answered_ = 0;  // which request is at work, so that a late reply is known
  Response response_;
  std::string head_;
  std::uint64_t discarded_ = 0;
  std::uint64_t held_ = 0;  // bytes of the body
};

}  // namespace service
