// Reading and writing of text and bytes, through buffers of their own.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/folder_item.h"

namespace gravlin {

// A file descriptor that closes itself.
class FileHandle {
 public:
  FileHandle() = default;
  explicit FileHandle(int descriptor) : descriptor_(descriptor) {}
  FileHandle(FileHandle&& other) noexcept;
  FileHandle& operator=(FileHandle&& other) noexcept;
  ~FileHandle();
  int Get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ >= 0; }
  // False if the system reports that earlier writes were lost.
  bool Close();

 private:
  int descriptor_ = -1;
};

// Lines end at CR, LF or CR LF.
class TextInputStream {
 public:
  explicit TextInputStream(FileHandle file);
  // From now on a helper thread waits for a slow disk.  For streams that one cooperative thread
  // reads; what runs on a helper itself must not ask for another.
  void ReadOnHelper() { on_helper_ = true; }
  // The next line without its end.  A last line needs no end; after it comes empty text.
  std::string ReadLine();
  // As ReadLine, into a string that keeps its storage from line to line.  False, with the rest of
  // the line unread, once it has more bytes than `limit`.
  bool ReadLine(std::string& line, std::size_t limit = SIZE_MAX);
  std::string ReadAll();
  // True when every byte has been read.
  bool EndOfFile();
  // Position in bytes of the next unread byte.
  std::int64_t PositionB() const;
  void SetPositionB(std::int64_t position);
  void Close();

 private:
  bool Fill();
  FileHandle file_;
  std::string buffer_;
  std::size_t next_ = 0;           // index of the next unread byte of buffer_
  std::int64_t buffer_start_ = 0;  // position in the file of buffer_[0]
  bool on_helper_ = false;
};

class TextOutputStream {
 public:
  explicit TextOutputStream(FileHandle file) : file_(std::move(file)) {}
  // False if not every byte was taken.
  bool Write(std::string_view text);
  bool Close() { return file_.Close(); }

 private:
  FileHandle file_;
};

// Bytes of a file with 64-bit counts.  The work block gives the size of the stream's buffer.
class LongBinaryStream {
 public:
  // For writing, the file is made or emptied.  A file that cannot be opened throws
  // NilObjectException.
  LongBinaryStream(const FolderItem& file, bool for_writing, std::size_t work_block = 4096);
  ~LongBinaryStream();
  LongBinaryStream(const LongBinaryStream&) = delete;
  LongBinaryStream& operator=(const LongBinaryStream&) = delete;

  // Reads up to `size` bytes into `to` and returns their count, 0 at the end of the file.
  std::size_t Read(void* to, std::size_t size);
  // False once any byte since opening could not be written.
  bool Write(std::string_view bytes);
  // Asks the system to begin writing to the disk what was written so far, and does not wait for it.
  // False if a write has failed.
  bool BeginFlush();
  // Flushes to the disk.  False once any byte since opening could not be written.  Blocks.
  bool Flush();
  bool EndOfFile();
  // Writes what is buffered and closes.  False if any byte was lost; a second call gives the same
  // answer.
  bool Close();

 private:
  bool WriteOut(const char* bytes, std::size_t size);
  bool WriteBuffer();
  FileHandle file_;
  std::string buffer_;
  std::size_t next_ = 0;
  std::size_t work_block_;
  bool for_writing_;
  bool failed_ = false;
};

// Whether both files can be read and hold the same bytes.  Blocks: call it through Thread::Offload.
bool SameBytes(const FolderItem& a, const FolderItem& b);

// Makes the file and locks it for this process until the handle is gone.  Nothing if another
// process holds it; an empty handle if it cannot be locked at all.
std::optional<FileHandle> LockFile(const FolderItem& file);

}  // namespace gravlin
