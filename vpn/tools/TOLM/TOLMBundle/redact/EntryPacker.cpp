#include "vpn/tools/TOLM/TOLMBundle/redact/EntryPacker.h"

#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "vpn/Common/Utility/WriteAll.h"

namespace halvo {

namespace {

constexpr std::size_t kChunk = std::size_t{128} << 10U;
// As far back as the format can point.
constexpr std::size_t kDictionary = std::size_t{32} << 10U;
// Chunks of one text that wait for their turn in the file.
constexpr std::size_t kMostPending = 8;
constexpr int kMemoryLevel = 8;
// The archive's own level, the highest, takes twice the time for one byte in a hundred of log text.
constexpr int kPackLevel = 6;

Bytef* bytesOf(const std::string& text) {
  return reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));  // zlib doesn't write to it
}

}  // namespace

// One thread's stream, used for one chunk after the other.
class ChunkPacker {
 public:
  ChunkPacker() {
    m_bOpen =
        deflateInit2(&m_Stream, kPackLevel, Z_DEFLATED, -MAX_WBITS, kMemoryLevel, Z_DEFAULT_STRATEGY) == Z_OK;
  }
  ~ChunkPacker() {
    if (m_bOpen) {
      deflateEnd(&m_Stream);
    }
  }
  ChunkPacker(const ChunkPacker&) = delete;
  ChunkPacker& operator=(const ChunkPacker&) = delete;

  void pack(PackChunk& chunk) {
    try {
      chunk.isFailed = !tryPack(chunk);
    } catch (const std::bad_alloc&) {
      chunk.isFailed = true;
    }
  }

 private:
  bool tryPack(PackChunk& chunk) {
    if (!m_bOpen || deflateReset(&m_Stream) != Z_OK) {
      return false;
    }
    if (!chunk.dictionary.empty() &&
        deflateSetDictionary(&m_Stream, bytesOf(chunk.dictionary),
                             static_cast<uInt>(chunk.dictionary.size())) != Z_OK) {
      return false;
    }
    chunk.crc =
        static_cast<std::uint32_t>(crc32(0, bytesOf(chunk.text), static_cast<uInt>(chunk.text.size())));
    // All but the last end at a byte, so that the next can be put behind them: more than the bound tells of.
    constexpr std::size_t kMore = 64;
    const int flush = chunk.isLast ? Z_FINISH : Z_SYNC_FLUSH;
    m_Stream.next_in = bytesOf(chunk.text);
    m_Stream.avail_in = static_cast<uInt>(chunk.text.size());
    std::size_t made = 0;
    std::size_t room = deflateBound(&m_Stream, static_cast<uLong>(chunk.text.size())) + kMore;
    int answer = Z_OK;
    do {
      chunk.packed.resize(room);
      m_Stream.next_out = reinterpret_cast<Bytef*>(chunk.packed.data() + made);
      m_Stream.avail_out = static_cast<uInt>(room - made);
      answer = deflate(&m_Stream, flush);
      made = room - m_Stream.avail_out;
      room += room / 2;
    } while (m_Stream.avail_out == 0 && (answer == Z_OK || answer == Z_BUF_ERROR));
    chunk.packed.resize(made);
    return chunk.isLast ? answer == Z_STREAM_END
                        : m_Stream.avail_in == 0 && (answer == Z_OK || answer == Z_BUF_ERROR);
  }

  z_stream m_Stream = {};
  bool m_bOpen = false;
};

void PackCrew::join() {
  const std::lock_guard<std::mutex> guard(m_Lock);
  ++m_nBusy;
}

void PackCrew::leave() {
  const std::lock_guard<std::mutex> guard(m_Lock);
  --m_nBusy;
  m_Change.notify_all();
}

void PackCrew::help() {
  ChunkPacker packer;
  std::unique_lock<std::mutex> guard(m_Lock);
  ++m_nIdle;
  for (;;) {
    m_Change.wait(guard, [this] { return !m_Queue.empty() || m_nBusy == 0; });
    if (m_Queue.empty()) {
      break;
    }
    PackChunk& chunk = *m_Queue.front();
    m_Queue.pop_front();
    --m_nIdle;
    guard.unlock();
    packer.pack(chunk);
    guard.lock();
    ++m_nIdle;
    chunk.isDone = true;
    m_Change.notify_all();
  }
  --m_nIdle;
}

bool PackCrew::offer(PackChunk& chunk) {
  const std::lock_guard<std::mutex> guard(m_Lock);
  if (m_Queue.size() >= m_nIdle) {
    return false;
  }
  m_Queue.push_back(&chunk);
  m_Change.notify_all();
  return true;
}

void PackCrew::wait(PackChunk& chunk) {
  std::unique_lock<std::mutex> guard(m_Lock);
  m_Change.wait(guard, [&chunk] { return chunk.isDone; });
}

bool PackCrew::isDone(const PackChunk& chunk) {
  const std::lock_guard<std::mutex> guard(m_Lock);
  return chunk.isDone;
}

EntryPacker::EntryPacker(PackCrew& crew, int file)
    : m_rCrew(crew), m_nFile(file), m_pPacker(std::make_unique<ChunkPacker>()) {}

// Nobody may work on a chunk that is gone.
EntryPacker::~EntryPacker() {
  for (const std::unique_ptr<Pending>& pending : m_Pending) {
    if (pending->isTaken) {
      m_rCrew.wait(pending->chunk);
    }
  }
}

bool EntryPacker::put(const std::string& text) {
  m_nSize += text.size();
  for (std::size_t at = 0; at < text.size();) {
    // A full chunk waits for what follows: the last one is packed by finish().
    if (m_strText.size() == kChunk) {
      packChunk(false);
      if (!writeFinished(kMostPending)) {
        return false;
      }
    }
    const std::size_t piece = std::min(text.size() - at, kChunk - m_strText.size());
    m_strText.append(text, at, piece);
    at += piece;
  }
  return true;
}

bool EntryPacker::finish() {
  packChunk(true);
  return writeFinished(0);
}

void EntryPacker::packChunk(bool isLast) {
  m_Pending.push_back(std::make_unique<Pending>());
  Pending& pending = *m_Pending.back();
  PackChunk& chunk = pending.chunk;
  chunk.isLast = isLast;
  chunk.dictionary = std::move(m_strDictionary);
  m_strDictionary = m_strText.size() > kDictionary ? m_strText.substr(m_strText.size() - kDictionary) : "";
  chunk.text = std::move(m_strText);
  m_strText.clear();
  pending.isTaken = m_rCrew.offer(chunk);
  if (!pending.isTaken) {
    m_pPacker->pack(chunk);
    chunk.isDone = true;
  }
}

// Those in front that are done; where more than `mayWait` are left, their turn is waited for.
bool EntryPacker::writeFinished(std::size_t mayWait) {
  while (!m_Pending.empty()) {
    Pending& pending = *m_Pending.front();
    if (pending.isTaken && !m_rCrew.isDone(pending.chunk)) {
      if (m_Pending.size() <= mayWait) {
        return true;
      }
      m_rCrew.wait(pending.chunk);
    }
    const PackChunk& chunk = pending.chunk;
    if (chunk.isFailed) {
      errno = ENOMEM;
      return false;
    }
    if (const int error = writeAll(m_nFile, chunk.packed.data(), chunk.packed.size()); error != 0) {
      errno = error;
      return false;
    }
    m_nPacked += chunk.packed.size();
    m_nCrc =
        static_cast<std::uint32_t>(crc32_combine(m_nCrc, chunk.crc, static_cast<z_off_t>(chunk.text.size())));
    m_Pending.pop_front();
  }
  return true;
}

}  // namespace halvo
