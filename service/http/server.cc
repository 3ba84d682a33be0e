// SPDX-License-Identifier: MIT
// One thread has all connections and all decisions, another one the executor with its workers. So a server
// with a thousand clients has two threads, and nothing is locked but the queue between them.
#include "server.h"

#include "connection.h"
#include "fingerprint.h"
#include "listen_socket.h"

#include "jobs/error.h"
#include "jobs/input.h"
#include "jobs/worker_process.h"

#include <boost/asio/basic_socket_acceptor.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <utility>
#include <vector>

namespace service {

namespace {

namespace asio = boost::asio;
using boost::system::error_code;
using jobs::Error;
using jobs::ErrorKind;
using Protocol = asio::generic::stream_protocol;

constexpr std::chrono::milliseconds kTick{100};
constexpr std::chrono::seconds kDrainBeyondJobs{5};  // for answers to go out
constexpr int kMostAtOnce = 64;                      // connections that are accepted
constexpr std::size_t kMostTurnedAway = 64;          // at a time; others are just closed
constexpr rlim_t kOwnDescriptors = 64;               // of logs, files and libraries
constexpr rlim_t kOfWorker = 8;

// Connections, workers and files have one descriptor each. Throws Error where there are not enough: clients
// would take those that a new worker needs.
void RaiseDescriptorLimit(const ServerOptions& options) {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  const rlim_t own = kOwnDescriptors + kOfWorker * static_cast<rlim_t>(options.executor.workers);
  const rlim_t wanted = own + kMostTurnedAway + options.maxConnections;
  if (limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur < wanted) {
    throw jobs::Error(jobs::ErrorKind::kLimit, "--max-connections",
                      "takes a limit of " + std::to_string(wanted) + " open files, which is " +
                          std::to_string(limit.rlim_cur));
  }
}

std::string RandomPrefix() {
  std::random_device random;
  char text[16];
  std::snprintf(text, sizeof text, "%08x-", random());
  return text;
}

ListenSocket OpenSocket(const ServerOptions& options) {
  std::optional<ListenSocket> passed = TakePassedSocket();
  ListenSocket socket = passed ? std::move(*passed) : Listen(options.listen);
  if (!socket.isLoopback && options.guard.token.empty()) {
    throw NoTokenError(socket.url);
  }
  return socket;
}

jobs::ExecutorOptions ExecutorOptionsOf(const ServerOptions& options) {
  jobs::ExecutorOptions executor = options.executor;
  if (executor.program.empty()) executor.program = jobs::FindWorkerProgram();
  executor.runner.pixelLimit = options.maxPixels * 4;
  return executor;
}

ServiceOptions ServiceOptionsOf(const ServerOptions& options, const ListenSocket& socket,
                                const jobs::ExecutorOptions& executor) {
  ServiceOptions made;
  made.guard = options.guard;
  made.guard.isLoopback = socket.isLoopback;
  made.cache = options.cache;
  made.queue = options.queue;
  made.workers = static_cast<std::size_t>(executor.workers);
  made.fingerprint = Fingerprint(executor.program, executor.runner.fonts);
  return made;
}

class Server {
 public:
  Server(const ServerOptions& options, ListenSocket&& socket)
      : options_(options),
        listen_(std::move(socket)),
        executor_(ExecutorOptionsOf(options)),
        acceptor_(io_),
        signals_(io_, SIGTERM, SIGINT),
        tick_(io_),
        pause_(io_),
        desk_(
            executor_, options.queue,
            [this](std::function<void()> task) { asio::post(io_, std::move(task)); }, WatcherOf()),
        service_(ServiceOptionsOf(options, listen_, executor_), desk_, metrics_),
        transport_{{options.maxBody, options.clientTime}, service_, metrics_, AccessLog(options.log)} {
    transport_.prefix = RandomPrefix();
    transport_.ended = [this](const std::shared_ptr<Connection>& connection) { Forget(connection); };
  }

  int Run(const std::function<void(const std::string&)>& listening) {
    acceptor_.assign(Protocol(listen_.family, 0), fcntl(listen_.descriptor.get(), F_DUPFD_CLOEXEC, 16));
    listen_.descriptor =
        jobs::OpenDescriptor();  // so that nobody listens any more when the acceptor is closed
    signals_.async_wait([this](const error_code& error, int) { OnSignal(error); });
    desk_.Start();
    Tick();
    Accept();
    listening(listen_.url);
    NotifyManager("READY=1");
    io_.run();
    if (!listen_.path.empty()) unlink(listen_.path.c_str());
    if (!failure_.empty()) throw Error(ErrorKind::kLimit, "workers", failure_);
    return status_;
  }

 private:
  JobDesk::Watcher WatcherOf() {
    return {[this](const std::string& kind, const std::string& state, double seconds) {
              metrics_.CountJob(kind, state, seconds);
            },
            [this] { ++metrics_.workerRestarts; },
            [this](const std::string& failure) { OnStopped(failure); }};
  }

  void Accept() {
    acceptor_.async_wait(asio::socket_base::wait_read, [this](const error_code& error) {
      if (error || !acceptor_.is_open()) return;
      for (int i = 0; i < kMostAtOnce; ++i) {
        // A worker that is started at this moment must not get it, so it is closed on exec from the
        // beginning.
        const int accepted =
            accept4(acceptor_.native_handle(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (accepted >= 0) {
          Take(Connection::Socket(io_, Protocol(listen_.family, 0), accepted));
        } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
          return AcceptLater();
        } else if (errno != EINTR && errno != ECONNABORTED) {
          break;
        }
      }
      Accept();
    });
  }

  // The next moment may bring what the system does not have now.
  void AcceptLater() {
    pause_.expires_after(kTick);
    pause_.async_wait([this](const error_code& error) {
      if (!error && acceptor_.is_open()) Accept();
    });
  }

  void Take(Connection::Socket&& socket) {
    ++metrics_.connections;
    const bool isFull = connections_.size() >= options_.maxConnections;
    if (isFull) ++metrics_.connectionsRefused;
    if (connections_.size() >= options_.maxConnections + kMostTurnedAway) return;
    const int one = 1;
    if (listen_.family != AF_UNIX) {
      setsockopt(socket.native_handle(), IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    }
    try {
      const auto connection = std::make_shared<Connection>(std::move(socket), transport_);
      connections_.insert(connection);
      service_.connections = connections_.size();
      isFull ? connection->TurnAway() : connection->Start();
    } catch (const std::bad_alloc&) {
      ++metrics_.connectionsRefused;  // without a word, for which there is no memory
    }
  }

  void Forget(const std::shared_ptr<Connection>& connection) {
    connections_.erase(connection);
    service_.connections = connections_.size();
    EndWhenDrained();
  }

  void Tick() {
    tick_.expires_after(kTick);
    tick_.async_wait([this](const error_code& error) {
      if (error) return;
      desk_.ExpireLate();
      if (isDraining_ && std::chrono::steady_clock::now() >= drainEnd_) return End(0);
      Tick();
    });
  }

  void OnSignal(const error_code& error) {
    if (error) return;
    if (isDraining_) return End(1);
    signals_.async_wait([this](const error_code& again, int) { OnSignal(again); });
    BeginDrain();
  }

  void BeginDrain() {
    NotifyManager("STOPPING=1");
    isDraining_ = transport_.isDraining = true;
    drainEnd_ = std::chrono::steady_clock::now() + executor_.timeout + kDrainBeyondJobs;
    service_.Drain();
    error_code ignored;
    acceptor_.close(ignored);
    const std::vector<std::shared_ptr<Connection>> all(connections_.begin(), connections_.end());
    for (const auto& connection : all) connection->Drain();
    desk_.Close();
    EndWhenDrained();
  }

  // The executor has ended: because no job is to come, or since no worker could be started from the
  // beginning.
  void OnStopped(const std::string& failure) {
    isStopped_ = true;
    if (!isDraining_) {
      failure_ = failure;
      return End(1);
    }
    EndWhenDrained();
  }

  void EndWhenDrained() {
    if (isDraining_ && isStopped_ && connections_.empty()) End(0);
  }

  void End(int status) {
    status_ = status;
    io_.stop();
  }

  const ServerOptions& options_;
  ListenSocket listen_;
  const jobs::ExecutorOptions executor_;
  asio::io_context io_{1};
  asio::basic_socket_acceptor<Protocol> acceptor_;
  asio::signal_set signals_;
  asio::steady_timer tick_;
  asio::steady_timer pause_;
  Metrics metrics_;
  JobDesk desk_;
  Service service_;
  Transport transport_;
  std::set<std::shared_ptr<Connection>> connections_;
  bool isDraining_ = false;
  bool isStopped_ = false;
  std::chrono::steady_clock::time_point drainEnd_;
  std::string failure_;
  int status_ = 0;
};

}  // namespace

int RunServer(const ServerOptions& options, const std::function<void(const std::string&)>& listening) {
  std::signal(SIGPIPE, SIG_IGN);  // a log that nobody reads any more ends nothing
  RaiseDescriptorLimit(options);
  for (const std::string& font : options.executor.runner.fonts) jobs::CheckReadable(font);
  ListenSocket socket = OpenSocket(options);
  return Server(options, std::move(socket)).Run(listening);
}

}  // namespace service
