// Files as texts, lines and bytes.
#include "platform/streams.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/failures.h"
#include "platform/files.h"
#include "platform/thread.h"

namespace gravlin {
namespace {

constexpr std::size_t kTextBuffer = 256 * 1024;
// Line ends are searched for in pieces of this size, so that a text without line feeds is not read
// to the end of the buffer at each of its carriage returns.
constexpr std::size_t kLineWindow = 512;

// Index of the first CR or LF, the view's size if there is none.
std::size_t FindLineEnd(std::string_view text) {
  for (std::size_t from = 0; from < text.size(); from += kLineWindow) {
    std::string_view window = text.substr(from, kLineWindow);
    const std::size_t line_feed = window.find('\n');
    window = window.substr(0, line_feed);
    const std::size_t found = std::min(window.find('\r'), line_feed);
    if (found != std::string_view::npos) return from + found;
  }
  return text.size();
}

}  // namespace

FileHandle::FileHandle(FileHandle&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)) {}

FileHandle& FileHandle::operator=(FileHandle&& other) noexcept {
  if (this != &other) {
    Close();
    descriptor_ = std::exchange(other.descriptor_, -1);
  }
  return *this;
}

FileHandle::~FileHandle() { Close(); }

bool FileHandle::Close() {
  const int descriptor = std::exchange(descriptor_, -1);
  // The system frees the descriptor even when it is interrupted, so that is no failure and is not
  // tried again.
  return descriptor < 0 || close(descriptor) == 0 || errno == EINTR;
}

TextInputStream::TextInputStream(FileHandle file) : file_(std::move(file)) {}

bool TextInputStream::Fill() {
  if (!file_) return false;
  buffer_start_ += static_cast<std::int64_t>(buffer_.size());
  buffer_.resize(kTextBuffer);
  next_ = 0;
  const auto read = [this] {
    buffer_.resize(files::ReadSome(file_.Get(), buffer_.data(), buffer_.size()));
  };
  if (on_helper_)
    Thread::Offload(read);
  else
    read();
  return !buffer_.empty();
}

std::string TextInputStream::ReadLine() {
  std::string line;
  ReadLine(line);
  return line;
}

bool TextInputStream::ReadLine(std::string& line, std::size_t limit) {
  line.clear();
  while (!EndOfFile()) {
    if (line.size() > limit) return false;
    const std::string_view rest = std::string_view(buffer_).substr(next_);
    const std::size_t length = FindLineEnd(rest);
    line.append(rest, 0, length);
    next_ += length;
    if (length == rest.size()) continue;
    const bool carriage_return = buffer_[next_++] == '\r';
    if (carriage_return && !EndOfFile() && buffer_[next_] == '\n') ++next_;
    break;
  }
  return line.size() <= limit;
}

std::string TextInputStream::ReadAll() {
  std::string text;
  while (!EndOfFile()) {
    text.append(buffer_, next_);
    next_ = buffer_.size();
  }
  return text;
}

bool TextInputStream::EndOfFile() { return next_ == buffer_.size() && !Fill(); }

std::int64_t TextInputStream::PositionB() const {
  return buffer_start_ + static_cast<std::int64_t>(next_);
}

void TextInputStream::SetPositionB(std::int64_t position) {
  position = std::max<std::int64_t>(position, 0);
  if (!file_ || lseek(file_.Get(), position, SEEK_SET) < 0) return;
  buffer_.clear();
  next_ = 0;
  buffer_start_ = position;
}

void TextInputStream::Close() {
  file_.Close();
  buffer_start_ = PositionB();
  buffer_.clear();
  next_ = 0;
}

bool TextOutputStream::Write(std::string_view text) {
  return file_ && files::WriteAll(file_.Get(), text.data(), text.size());
}

LongBinaryStream::LongBinaryStream(const FolderItem& file, bool for_writing, std::size_t work_block)
    : file_(for_writing ? files::OpenForWriting(file.NativePath(), O_CREAT | O_TRUNC)
                        : files::OpenForReading(file.NativePath())),
      work_block_(std::max<std::size_t>(work_block, 1)),
      for_writing_(for_writing) {
  if (!file_) throw NilObjectException();
}

LongBinaryStream::~LongBinaryStream() { Close(); }

std::size_t LongBinaryStream::Read(void* to, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    if (next_ == buffer_.size() && size - done >= work_block_ && !for_writing_ && file_) {
      // A read of a whole buffer or more bypasses the buffer.
      bool lost = false;
      done += files::ReadSome(file_.Get(), static_cast<char*>(to) + done, size - done, &lost);
      failed_ = failed_ || lost;
      break;
    }
    if (EndOfFile()) break;
    const std::size_t count = std::min(size - done, buffer_.size() - next_);
    std::memcpy(static_cast<char*>(to) + done, buffer_.data() + next_, count);
    next_ += count;
    done += count;
  }
  return done;
}

bool LongBinaryStream::Write(std::string_view bytes) {
  if (!for_writing_ || !file_) return false;
  if (buffer_.size() + bytes.size() >= work_block_) {
    if (!buffer_.empty()) WriteOut(buffer_.data(), buffer_.size());
    buffer_.clear();
    if (bytes.size() >= work_block_) return WriteOut(bytes.data(), bytes.size());
  }
  buffer_.append(bytes);
  return !failed_;
}

bool LongBinaryStream::EndOfFile() {
  if (next_ < buffer_.size()) return false;
  if (for_writing_ || !file_) return true;
  buffer_.resize(work_block_);
  next_ = 0;
  bool lost = false;
  buffer_.resize(files::ReadSome(file_.Get(), buffer_.data(), buffer_.size(), &lost));
  failed_ = failed_ || lost;
  return buffer_.empty();
}

bool LongBinaryStream::WriteOut(const char* bytes, std::size_t size) {
  // After a failure nothing is written, because later bytes would take the place of the lost ones.
  if (!failed_ && !files::WriteAll(file_.Get(), bytes, size)) failed_ = true;
  return !failed_;
}

bool LongBinaryStream::WriteBuffer() {
  if (for_writing_ && !buffer_.empty()) WriteOut(buffer_.data(), buffer_.size());
  buffer_.clear();
  return !failed_;
}

bool LongBinaryStream::BeginFlush() {
  if (!WriteBuffer()) return false;
#if defined(__linux__)
  // A hint: a file system that does not know it writes later.
  if (sync_file_range(file_.Get(), 0, 0, SYNC_FILE_RANGE_WRITE) != 0)
    failed_ = errno == EIO || errno == ENOSPC;
#endif
  return !failed_;
}

bool LongBinaryStream::Flush() {
  if (!WriteBuffer() || !file_) return false;
  failed_ = fsync(file_.Get()) != 0;
  return !failed_;
}

bool LongBinaryStream::Close() {
  WriteBuffer();
  next_ = 0;
  if (!file_.Close()) failed_ = true;
  return !failed_;
}

bool SameBytes(const FolderItem& a, const FolderItem& b) {
  constexpr std::size_t kPiece = 1 << 20;
  if (a.Length() != b.Length()) return false;
  try {
    LongBinaryStream first(a, false, kPiece), second(b, false, kPiece);
    std::string one(kPiece, '\0'), other(kPiece, '\0');
    while (const std::size_t count = first.Read(one.data(), kPiece)) {
      if (Thread::Ending() || second.Read(other.data(), kPiece) != count) return false;
      if (one.compare(0, count, other, 0, count) != 0) return false;
    }
    return first.Close() && second.Close();
  } catch (const NilObjectException&) {
    return false;
  }
}

std::optional<FileHandle> LockFile(const FolderItem& file) {
  FileHandle handle = files::OpenForWriting(file.NativePath(), O_CREAT, 0600);
  if (handle && flock(handle.Get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
    return std::nullopt;
  return handle;
}

}  // namespace gravlin
