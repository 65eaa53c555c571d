// Decodes the first parts of a file while the others are still on their way, so that little is left
// to do when the last one has come.
//
// Work ahead is a guess, and the parts stay the only truth.  What is decoded lies in a file of its
// own in the Parts folder, "nzb_temp.ahead-N.decoded", which no run takes up again: a launch
// deletes it as any temporary file.  Only an assembly makes something of it, after it has compared
// number, length and times of each part that was decoded with the folder as it is now.  What does
// not fit, what is not yEnc from its first part on, and what could not be written is thrown away;
// the file is then joined and decoded as if nothing had been done ahead.  So a Stop, an import, a
// changed or missing part, and a second file of the same name can make it useless, never wrong.
//
// Decoding takes half a megabyte of memory, whatever the sizes of the parts.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/folder_item.h"
#include "platform/streams.h"

namespace gravlin {

class PartsOnDisk;
class YencDecoder;

// The decoded bytes of one file as far as they have come.
class AheadFile {
 public:
  AheadFile(const FolderItem& parts, std::string filename);
  // Deletes the file, if nobody has given it another name.
  ~AheadFile();
  AheadFile(const AheadFile&) = delete;
  AheadFile& operator=(const AheadFile&) = delete;

  // While no helper works on it.
  bool Begun() const { return stream_ != nullptr; }
  const std::string& Filename() const { return filename_; }
  const FolderItem& File() const { return file_; }
  double JoinedBytes() const { return static_cast<double>(joined_bytes_); }

  // These block: call them through Thread::Offload, one at a time.
  // Decodes the next parts, as long as the disk has room and nobody is in a hurry.
  void Work(const std::vector<std::int32_t>& numbers);
  // Decodes the rest of these parts, which are all of the file, in ascending order.  True if File()
  // then holds what the parts decode to.
  bool Finish(const std::vector<std::int32_t>& numbers);
  // False if any byte, now or earlier, did not reach the disk.  After Finish.
  bool Flush();
  // Gives the room back.  Nothing else is done after it.
  void Discard();

  // Ends Work after its part; it may be called while Work runs.
  void Hurry() { hurry_ = true; }

 private:
  struct Part {
    std::int32_t number;
    FileStamp stamp;
  };
  bool Open();
  bool Add(std::int32_t number);
  bool Fits(const std::vector<std::int32_t>& numbers) const;

  const FolderItem parts_, file_;
  const std::string filename_;
  std::unique_ptr<LongBinaryStream> stream_;
  std::unique_ptr<YencDecoder> decoder_;
  std::vector<Part> done_;
  FileStamp stamp_;  // of File() after the last part
  std::int64_t joined_bytes_ = 0, decoded_bytes_ = 0, unflushed_ = 0;
  bool failed_ = false;
  std::atomic<bool> hurry_ = false;
};

// The work ahead on the current file of a run.  Belongs to the main thread.
class WorkAhead {
 public:
  WorkAhead() = default;
  ~WorkAhead();
  WorkAhead(const WorkAhead&) = delete;
  WorkAhead& operator=(const WorkAhead&) = delete;

  // This is the file now; its parts in the list have those numbers.  What was done for the same
  // list of the same file is kept, as after a reconnect; for another one it is thrown away.
  void Begin(const FolderItem& parts, const std::string& filename,
             std::vector<std::int32_t> numbers);
  // Works on those parts that lie there already, at idle priority.
  void TakeUp(const PartsOnDisk& there);
  // One more lies there, of so many bytes.
  void PartSaved(const PartsOnDisk& there, std::size_t bytes);
  // Throws away what was done.  False if there is nothing.  `at_once` gives the room back before it
  // returns, unless a helper is at work.
  bool Drop(bool at_once = false);
  // For the assembly of that file, which finishes it: waits until no helper works on it.  nullptr
  // if there is nothing.  Not on the main stack.
  std::shared_ptr<AheadFile> Take(std::string_view filename);

  // So many bytes have to wait before a helper is woken for them.
  static void SetLeastBytes(std::size_t bytes);

 private:
  struct Work;
  class Helper;
  void AddReady(const PartsOnDisk& there);
  void Run(bool idle);

  std::shared_ptr<Work> work_;
  std::vector<std::int32_t> numbers_;  // ascending
  std::size_t next_ = 0;               // index of the first one that no helper was given
  std::size_t waiting_bytes_ = 0;
};

}  // namespace gravlin
