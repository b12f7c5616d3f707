// EntryPacker: deflates a text piece by piece into a file (RFC 1951, without a header).
//
// The text is cut into chunks of one size, each packed with the end of the one ahead of it as its dictionary,
// so that others can pack chunks of the same text at once: the threads of a PackCrew that have no text of
// their own. What is made is the same, whoever makes it. Nothing is logged.

#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>

namespace halvo {

class ChunkPacker;

struct PackChunk {
  std::string dictionary;  // the end of the text ahead of it
  std::string text;
  bool isLast = false;
  std::string packed;
  std::uint32_t crc = 0;  // of the text
  bool isDone = false;
  bool isFailed = false;  // memory ran out
};

// Threads that help each other. All members are called on any thread.
class PackCrew {
 public:
  // What a thread with texts of its own has while it has them.
  class Place {
   public:
    explicit Place(PackCrew& crew) : m_rCrew(crew) { m_rCrew.join(); }
    ~Place() { leave(); }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    // Its texts are done: packs others' chunks until no thread has texts of its own.
    void help() {
      leave();
      m_rCrew.help();
    }

   private:
    void leave() {
      if (m_bTaken) {
        m_bTaken = false;
        m_rCrew.leave();
      }
    }

    PackCrew& m_rCrew;
    bool m_bTaken = true;
  };

  // Hands a chunk to a thread that waits for one; false where none does. The chunk stays where it is until
  // wait() returns.
  bool offer(PackChunk& chunk);
  // Until a chunk that was taken is done.
  void wait(PackChunk& chunk);
  // Whether a chunk that was taken is done.
  bool isDone(const PackChunk& chunk);

 private:
  void join();
  void leave();
  void help();

  std::mutex m_Lock;
  std::condition_variable m_Change;
  std::deque<PackChunk*> m_Queue;
  unsigned m_nBusy = 0;  // with texts of their own
  std::size_t m_nIdle = 0;
};

class EntryPacker {
 public:
  // `crew` outlives the object and `file` stays open.
  EntryPacker(PackCrew& crew, int file);
  ~EntryPacker();
  EntryPacker(const EntryPacker&) = delete;
  EntryPacker& operator=(const EntryPacker&) = delete;

  // Both false where memory or disk is out, with `errno`.
  [[nodiscard]] bool put(const std::string& text);
  // To be called once, behind all of the text.
  [[nodiscard]] bool finish();

  [[nodiscard]] std::uint64_t size() const { return m_nSize; }
  [[nodiscard]] std::uint64_t packedSize() const { return m_nPacked; }
  [[nodiscard]] std::uint32_t crc() const { return m_nCrc; }

 private:
  struct Pending {
    PackChunk chunk;
    bool isTaken = false;
  };
  void packChunk(bool isLast);
  bool writeFinished(std::size_t mayWait);

  PackCrew& m_rCrew;
  int m_nFile;
  std::unique_ptr<ChunkPacker> m_pPacker;
  std::string m_strText;
  std::string m_strDictionary;
  std::deque<std::unique_ptr<Pending>> m_Pending;
  std::uint64_t m_nSize = 0;
  std::uint64_t m_nPacked = 0;
  std::uint32_t m_nCrc = 0;
};

}  // namespace halvo
