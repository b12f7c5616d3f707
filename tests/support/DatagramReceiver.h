// Receiver: the far end of a host's log, for the tests of the loggers.

#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace halvo::test {

// A datagram socket at a place in the file system.
class Receiver {
 public:
  explicit Receiver(const std::string& path)
      : m_strPath(path), m_fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    m_bBound = m_fd >= 0 && bind(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
  }
  ~Receiver() {
    close(m_fd);
    unlink(m_strPath.c_str());
  }
  Receiver(const Receiver&) = delete;
  Receiver& operator=(const Receiver&) = delete;

  [[nodiscard]] bool isBound() const { return m_bBound; }

  // The next record that has been sent. A sender's call returns when the record is in the queue, so
  // there is nothing to wait for.
  std::optional<std::string> take() {
    std::string record(65536, '\0');
    const ssize_t size = recv(m_fd, record.data(), record.size(), MSG_DONTWAIT);
    if (size < 0) {
      return std::nullopt;
    }
    record.resize(static_cast<std::size_t>(size));
    return record;
  }

 private:
  std::string m_strPath;
  int m_fd;
  bool m_bBound = false;
};

// Stands in for the host's journal and keeps what is sent there by whatever process. A thread of its own
// takes the records, or their senders would wait for room.
class JournalKeeper {
 public:
  JournalKeeper()
      : m_Receiver("/run/systemd/journal/socket"), m_Thread([this] {
          while (!m_bDone) {
            takeAll();
            usleep(1000);
          }
        }) {}
  ~JournalKeeper() {
    m_bDone = true;
    m_Thread.join();
  }
  JournalKeeper(const JournalKeeper&) = delete;
  JournalKeeper& operator=(const JournalKeeper&) = delete;

  [[nodiscard]] bool isBound() const { return m_Receiver.isBound(); }

  // What has been sent by now, as it came.
  std::vector<std::string> records() const {
    takeAll();
    const std::lock_guard<std::mutex> hold(m_Mutex);
    return m_Records;
  }

 private:
  void takeAll() const {
    const std::lock_guard<std::mutex> hold(m_Mutex);
    while (std::optional<std::string> record = m_Receiver.take()) {
      m_Records.push_back(std::move(*record));
    }
  }

  mutable std::mutex m_Mutex;
  mutable std::vector<std::string> m_Records;
  mutable Receiver m_Receiver;
  std::atomic<bool> m_bDone = false;
  std::thread m_Thread;
};

}  // namespace halvo::test
