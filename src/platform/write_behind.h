// Writing on a thread of its own, so that the next block is filled while the last one is written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <semaphore>

#include "platform/helper_threads.h"
#include "platform/streams.h"

namespace gravlin {

// Two blocks that take turns: one is filled by the owner, the other is being written.
class WriteBehind {
 public:
  // `stream` is open for writing, outlives this, and is left alone until Finish.
  WriteBehind(LongBinaryStream& stream, std::size_t block_size);
  WriteBehind(const WriteBehind&) = delete;
  WriteBehind& operator=(const WriteBehind&) = delete;

  // Room for one block, until Put.
  std::uint8_t* Room() { return blocks_[filling_].get(); }
  // Hands over the first `size` bytes of the room.  Waits until the previous block is written;
  // false once any write has failed.
  bool Put(std::size_t size);
  // Waits until everything is written.  False if any byte could not be.
  bool Finish();

 private:
  LongBinaryStream& stream_;
  std::unique_ptr<std::uint8_t[]> blocks_[2];
  int filling_ = 0;
  bool good_ = true;  // of the last block that is written; the semaphore hands it over
  std::binary_semaphore written_{1};
  HelperThreads writer_{1};  // not the one of Thread::Offload, which waits for this
};

}  // namespace gravlin
