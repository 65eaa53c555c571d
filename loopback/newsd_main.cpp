// gravlin-newsd: the loopback news server with a posted set, for the demonstration, benchmarks and
// manual work.
#include <signal.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "loopback/news_server.h"
#include "loopback/posted_set.h"

namespace gravlin::loopback {
namespace {

constexpr const char* kUsage =
    R"(usage: gravlin-newsd --set FOLDER [option]...
Posts a set of files on a news server on 127.0.0.1 until it is ended (SIGTERM, or Ctrl-C).
The folder receives set.nzb, SHA256SUMS, parts.tsv (id, file, part, name in the body) and, with --tls, ca.pem.
  --files N --parts N --bytes N   N yEnc files of N parts of N bytes instead of the demonstration's set
  --post FOLDER                   the files of a folder instead, in parts of --bytes
  --articles FOLDER               ready articles instead, each file under the id that is its name; makes no NZB
  --damage FILE:PART              that article arrives with a wrong byte (may be repeated)
  --tls                           TLS, with a certificate made for this run
  --user NAME --pass WORD         requires a log-on
  --port-file FILE                receives the port once the server listens
  --delay MS                      waits before each answer
  --rate BYTES                    sends that many bytes a second on each connection
  --fast                          makes all articles beforehand
  --request-log FILE              one request a line
)";

struct Arguments {
  std::map<std::string, std::string> values;
  std::vector<std::string> damaged;

  bool Has(const std::string& name) const { return values.contains(name); }
  std::string Text(const std::string& name) const {
    const auto found = values.find(name);
    return found == values.end() ? std::string() : found->second;
  }
  double Number(const std::string& name, double otherwise) const {
    return Has(name) ? std::stod(Text(name)) : otherwise;
  }
};

Arguments Parse(int argc, char** argv) {
  static const std::map<std::string, bool> known = {
      {"set", true},   {"files", true},     {"parts", true},      {"bytes", true},
      {"post", true},  {"damage", true},    {"tls", false},       {"user", true},
      {"pass", true},  {"delay", true},     {"articles", true},   {"rate", true},
      {"fast", false}, {"port-file", true}, {"request-log", true}};
  Arguments arguments;
  for (int i = 1; i < argc; ++i) {
    const std::string word = argv[i];
    const std::string name = word.starts_with("--") ? word.substr(2) : std::string();
    const auto option = known.find(name);
    if (option == known.end()) throw std::runtime_error("unknown option " + word);
    if (option->second && i + 1 == argc) throw std::runtime_error(word + " needs a value");
    const std::string value = option->second ? argv[++i] : "";
    if (name == "damage") arguments.damaged.push_back(value);
    arguments.values[name] = value;
  }
  if (!arguments.Has("set")) throw std::runtime_error("--set is missing");
  return arguments;
}

// The set of the demonstration: large and small yEnc files, UU in parts, Base64, and a file whose
// name is only in the body.
PostedSet DemoSet() {
  PostedSet set(2024);
  set.Add("holiday.mkv", 40 * 700'000 - 12'345, 700'000);
  for (int i = 1; i <= 10; ++i) {
    set.Add("track" + std::to_string(100 + i).substr(1) + ".mp3", 150'000 * i + 77, 250'000);
  }
  set.Add("scan.bmp", 3 * 9'000 * 45 - 4'004, 9'000 * 45, Coding::kUu);
  set.Add("cover.jpg", 180'001, 180'001, Coding::kBase64);
  set.Add("a1b2c3d4.avi", 3'000'017, 500'000, Coding::kYenc, "The real name.avi");
  return set;
}

PostedSet MakeSet(const Arguments& arguments) {
  const auto bytes = static_cast<std::int64_t>(arguments.Number("bytes", 700'000));
  PostedSet set;
  if (arguments.Has("articles")) return set;
  if (arguments.Has("post")) {
    std::map<std::string, std::filesystem::path> in_order;
    for (const auto& entry : std::filesystem::directory_iterator(arguments.Text("post"))) {
      if (entry.is_regular_file()) in_order[entry.path().filename().string()] = entry.path();
    }
    for (const auto& [name, path] : in_order) set.AddFile(path, bytes);
    return set;
  }
  if (!arguments.Has("files") && !arguments.Has("parts")) return DemoSet();
  const auto parts = static_cast<std::int64_t>(arguments.Number("parts", 10));
  for (int i = 1; i <= static_cast<int>(arguments.Number("files", 1)); ++i) {
    set.Add("file" + std::to_string(10000 + i).substr(1) + ".mkv", parts * bytes, bytes);
  }
  return set;
}

std::string IdOf(const PostedSet& set, const std::string& file_and_part) {
  const auto colon = file_and_part.rfind(':');
  const std::string name = file_and_part.substr(0, colon);
  for (const PostedFile& file : set.Files()) {
    if (file.name == name && colon != std::string::npos) {
      return file.ids.at(std::stoul(file_and_part.substr(colon + 1)) - 1);
    }
  }
  throw std::runtime_error("no such file and part: " + file_and_part);
}

// Returns how many.
int AddArticles(NewsServer& server, const std::filesystem::path& folder) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::ifstream file(entry.path(), std::ios::binary);
    server.Add(entry.path().filename().string(), std::string(std::istreambuf_iterator(file), {}));
    ++count;
  }
  return count;
}

void WriteLists(const PostedSet& set, const std::filesystem::path& folder) {
  set.WriteNzb(folder / "set.nzb");
  std::ofstream(folder / "SHA256SUMS", std::ios::binary) << set.Sums();
  std::ofstream parts(folder / "parts.tsv", std::ios::binary);
  for (const PostedFile& file : set.Files()) {
    for (std::size_t i = 0; i < file.ids.size(); ++i)
      parts << file.ids[i] << '\t' << file.name << '\t' << i + 1 << '\t' << file.body_name << '\n';
  }
}

// Serves until one of the signals arrives.
void Serve(const Arguments& arguments, const sigset_t& ends) {
  const std::filesystem::path folder = arguments.Text("set");
  std::filesystem::create_directories(folder);
  const PostedSet set = MakeSet(arguments);

  NewsServer::Options options;
  options.tls = arguments.Has("tls");
  options.user = arguments.Text("user");
  options.password = arguments.Text("pass");
  options.delay_milliseconds = static_cast<int>(arguments.Number("delay", 0));
  options.bytes_per_second = arguments.Number("rate", 0);
  options.request_log = arguments.Text("request-log");
  NewsServer server(options);
  server.SetSource([&set](std::string_view id) { return set.Article(id); });
  if (arguments.Has("fast")) {
    for (const PostedFile& file : set.Files()) {
      for (const std::string& id : file.ids) server.Add(id, *set.Article(id));
    }
  }
  for (const auto& item : arguments.damaged) {
    server.On("ARTICLE <" + IdOf(set, item) + ">", [](Reply reply) {
      const Change damage = FlipByteAt(reply.bytes.size() / 2);
      return damage(std::move(reply));
    });
  }

  if (options.tls) server.WriteAuthority(folder / "ca.pem");
  if (arguments.Has("articles")) {
    std::printf("posted %d articles", AddArticles(server, arguments.Text("articles")));
  } else {
    WriteLists(set, folder);
    std::printf("posted %zu files, %lld bytes", set.Files().size(),
                static_cast<long long>(set.Bytes()));
  }
  std::printf("; listening on 127.0.0.1:%d%s\n", server.Port(), options.tls ? " (TLS)" : "");
  std::fflush(stdout);
  if (arguments.Has("port-file")) {  // complete as soon as it exists
    const std::filesystem::path file = arguments.Text("port-file");
    std::ofstream(file.string() + ".new") << server.Port() << "\n";
    std::filesystem::rename(file.string() + ".new", file);
  }
  int signal = 0;
  sigwait(&ends, &signal);
}

}  // namespace
}  // namespace gravlin::loopback

int main(int argc, char** argv) {
  sigset_t ends;  // also for the server's threads, so that Serve can wait for them
  sigemptyset(&ends);
  sigaddset(&ends, SIGTERM);
  sigaddset(&ends, SIGINT);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);
  try {
    gravlin::loopback::Serve(gravlin::loopback::Parse(argc, argv), ends);
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "gravlin-newsd: %s\n%s", failure.what(), gravlin::loopback::kUsage);
    return 2;
  }
}
