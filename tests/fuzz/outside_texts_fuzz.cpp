// Short texts from outside: column widths from the store, names of part files, what a reply says of
// itself, sizes of articles, the vendor's message.
#include <cstdlib>
#include <string>
#include <string_view>

#include "engine/leftovers.h"
#include "engine/part_files.h"
#include "engine/room.h"
#include "platform/listbox.h"
#include "ui/message_window.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  using namespace gravlin;
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  std::vector<int> widths(7, 50);
  ReadColumnWidths(text, widths);
  if (widths.size() != 7) std::abort();
  for (const int width : widths)
    if (width < 0 || width > 10000) std::abort();

  // A name that counts as a part is the name of just that part.
  const std::string_view filename = FilenameOfPart(text);
  if (!filename.empty() && (text.find(filename) != 0 || text.size() - filename.size() != 11))
    std::abort();
  for (const std::string_view file : {filename, text.substr(0, size / 2)}) {
    const std::int32_t number = PartNumberIn(text, file);
    if (number < 0 || (number > 0 && PartFileNameOf(file, number) != text)) std::abort();
  }

  const OwnIds ids = IdsOfReply(text);
  for (const std::string_view id : {ids.first_line, ids.header})
    if (id.find_first_of("> \r\n") != id.npos || text.find(id) == text.npos) std::abort();
  if (!(BytesOfArticles(text) >= 0 && BytesOfArticles(text) < 1e16)) std::abort();

  const VendorMessage message = ReadVendorMessage(text);
  if (message.text.size() > size || message.url.size() > size) std::abort();
  if (message.url.find_first_of("\r\n") != std::string::npos) std::abort();
  return 0;
}
