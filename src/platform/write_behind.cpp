// Two blocks that take turns.
#include "platform/write_behind.h"

namespace gravlin {

WriteBehind::WriteBehind(LongBinaryStream& stream, std::size_t block_size) : stream_(stream) {
  for (auto& block : blocks_) block = std::make_unique_for_overwrite<std::uint8_t[]>(block_size);
}

bool WriteBehind::Put(std::size_t size) {
  const bool good = Finish();
  written_.acquire();
  writer_.Start([this, block = reinterpret_cast<const char*>(Room()), size] {
    good_ = stream_.Write({block, size});
    written_.release();
  });
  filling_ = 1 - filling_;
  return good;
}

bool WriteBehind::Finish() {
  written_.acquire();
  const bool good = good_;
  written_.release();
  return good;
}

}  // namespace gravlin
