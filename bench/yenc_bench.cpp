// How fast yEnc data is decoded, compared with a copy of the same bytes.
#include <benchmark/benchmark.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "decode/yenc.h"

namespace gravlin {
namespace {

// A header line, then lines of 128 random bytes as an encoder writes them.
std::string EncodedData(std::size_t bytes) {
  std::string text = "=ybegin line=128 size=1 name=a\r\n";
  std::mt19937 random(1);
  while (text.size() < bytes) {
    for (int i = 0; i < 128; ++i) {
      const char c = static_cast<char>(random());
      if (c == 0 || c == 10 || c == 13 || c == '=') {
        text += {'=', static_cast<char>(c + 64)};
      } else {
        text += c;
      }
    }
    text += "\r\n";
  }
  text.resize(bytes);
  return text;
}

constexpr std::size_t kBytes = 256 * 1024;  // one block of a file

void DecodeYenc(benchmark::State& state, YencDecoder::Kernel kernel) {
  if (kernel == YencDecoder::Kernel::kVector && !YencDecoder::HasVectors()) {
    state.SkipWithError("this processor has no vectors");
    return;
  }
  const std::string text = EncodedData(kBytes);
  const std::vector<std::uint8_t> piece(text.begin(), text.end());
  std::vector<std::uint8_t> out(piece.size() + YencDecoder::kSlack);
  YencDecoder decoder(kernel);
  for (auto _ : state) {
    benchmark::DoNotOptimize(decoder.Decode(piece, out.data()));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kBytes));
}
BENCHMARK_CAPTURE(DecodeYenc, plain, YencDecoder::Kernel::kPlain);
BENCHMARK_CAPTURE(DecodeYenc, vector, YencDecoder::Kernel::kVector);

void CopyTheSameBytes(benchmark::State& state) {
  const std::string text = EncodedData(kBytes);
  std::vector<char> out(text.size());
  for (auto _ : state) {
    std::memcpy(out.data(), text.data(), text.size());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kBytes));
}
BENCHMARK(CopyTheSameBytes);

// File to file, compared with the system's own copy.  Both files stay in the page cache.
class Files {
 public:
  Files() : folder_(std::filesystem::temp_directory_path() / "gravlin-yenc-bench") {
    std::filesystem::create_directory(folder_);
    std::ofstream out(source(), std::ios::binary);
    const std::string block = EncodedData(1 << 20);
    for (int i = 0; i < kMegabytes; ++i) out << block << "\r\n=yend size=1\r\n";
  }
  ~Files() { std::filesystem::remove_all(folder_); }
  std::filesystem::path source() const { return folder_ / "in"; }
  std::filesystem::path target() const { return folder_ / "out"; }
  static constexpr int kMegabytes = 512;

 private:
  std::filesystem::path folder_;
};

void DecodeYencFile(benchmark::State& state) {
  const Files files;
  for (auto _ : state) {
    std::filesystem::remove(files.target());
    benchmark::DoNotOptimize(Code::DecodeYencFile(FolderItem::FromPath(files.source().string()),
                                                  FolderItem::FromPath(files.target().string())));
  }
  state.SetBytesProcessed(state.iterations() * std::int64_t{Files::kMegabytes} << 20);
}
BENCHMARK(DecodeYencFile)->Unit(benchmark::kMillisecond);

void CopyTheSameFile(benchmark::State& state) {
  const Files files;
  for (auto _ : state) {
    std::filesystem::remove(files.target());
    std::filesystem::copy_file(files.source(), files.target());
  }
  state.SetBytesProcessed(state.iterations() * std::int64_t{Files::kMegabytes} << 20);
}
BENCHMARK(CopyTheSameFile)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace gravlin
