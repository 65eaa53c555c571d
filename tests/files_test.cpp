// Files, folders and streams on a real file system, with a limit on file size in the place of a
// full disk.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "platform/failures.h"
#include "platform/folder_item.h"
#include "platform/streams.h"
#include "support/temp_folder.h"

namespace gravlin {
namespace {

using testing::ReadFile;
using testing::TempFolder;

// No file may grow beyond so many bytes while this lives.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &before_);
    handler_ = signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    signal(SIGXFSZ, handler_);
  }

 private:
  rlimit before_;
  sighandler_t handler_;
};

TEST(FolderItem, NamesThatNoFileSystemTakesGiveNil) {
  const FolderItem folder = FolderItem::FromPath("/tmp");
  for (const std::string name : {"", ".", "..", "a/b", "/"}) {
    EXPECT_TRUE(folder.Child(name).IsNil()) << name;
  }
  EXPECT_TRUE(folder.Child(std::string(256, 'x')).IsNil());
  EXPECT_FALSE(folder.Child(std::string(255, 'x')).IsNil());
  EXPECT_TRUE(folder.Child(std::string_view("a\0b", 3)).IsNil());
  EXPECT_EQ(folder.Child("...").Name(), "...");
  EXPECT_TRUE(FolderItem::FromPath("relative/path").IsNil());
  EXPECT_EQ(FolderItem::FromPath("//usr///bin/").NativePath(), "/usr/bin");
}

TEST(FolderItem, ANilItemThrowsAndNothingElseDoes) {
  const FolderItem nil;
  EXPECT_THROW(nil.Exists(), NilObjectException);
  EXPECT_THROW(nil.Child("a"), NilObjectException);
  EXPECT_THROW(nil.OpenAsTextFile(), NilObjectException);
  EXPECT_THROW(LongBinaryStream(nil, false), NilObjectException);
  FolderItem absent = FolderItem::FromPath("/no such folder/file");
  EXPECT_FALSE(absent.Exists());
  EXPECT_EQ(absent.Length(), 0);
  EXPECT_FALSE(absent.Delete());
  EXPECT_FALSE(absent.SetName("other"));
  EXPECT_FALSE(absent.MoveTo(FolderItem::FromPath("/tmp")));
  EXPECT_FALSE(absent.Flush());
  EXPECT_TRUE(absent.ChildNames().empty());
  EXPECT_EQ(absent.OpenAsTextFile(), nullptr);
  EXPECT_EQ(absent.CreateTextFile(), nullptr);
}

TEST(FolderItem, TheColonFormLeadsBackToTheSamePath) {
  const TempFolder temp;
  const FolderItem odd = temp.Item().Child("a:b \xFF");
  ASSERT_TRUE(FolderItem(odd).CreateAsFolder());
  const FolderItem file = odd.Child("x:y.rar");
  EXPECT_TRUE(odd.AbsolutePath().ends_with(":a/b \xFF:"));
  EXPECT_TRUE(file.AbsolutePath().ends_with(":a/b \xFF:x/y.rar"));
  EXPECT_TRUE(file.AbsolutePath().starts_with("System:"));
  EXPECT_EQ(FolderItem::FromAbsolutePath(file.AbsolutePath()), file);
  EXPECT_EQ(FolderItem::FromAbsolutePath(odd.AbsolutePath()), odd);
  EXPECT_EQ(FolderItem::FromAbsolutePath("System:").NativePath(), "/");
  EXPECT_EQ(FolderItem::FromAbsolutePath("System:usr:bin:").NativePath(), "/usr/bin");
  EXPECT_TRUE(FolderItem::FromAbsolutePath("no volume").IsNil());
  EXPECT_TRUE(FolderItem::FromAbsolutePath("System:a::b").IsNil());
  EXPECT_EQ(file.Parent(), odd);
}

TEST(FolderItem, ARenameOrAMoveNeverReplacesWhatIsThere) {
  const TempFolder temp;
  FolderItem item = temp.Write("a", "first");
  temp.Write("b", "second");
  FolderItem folder = temp.Item("folder");
  ASSERT_TRUE(folder.CreateAsFolder());
  temp.Write("folder/c", "third");
  std::filesystem::create_symlink("nowhere", temp / "link");

  EXPECT_FALSE(item.SetName("b"));
  EXPECT_FALSE(item.SetName("link"));
  EXPECT_FALSE(item.SetName("a/b"));
  EXPECT_FALSE(item.MoveTo(folder, "c"));
  EXPECT_EQ(item.Name(), "a");
  EXPECT_EQ(ReadFile(temp / "b") + ReadFile(temp / "folder/c"), "secondthird");

  EXPECT_TRUE(item.SetName("a2"));
  EXPECT_TRUE(item.MoveTo(folder));
  EXPECT_EQ(item, folder.Child("a2"));
  EXPECT_EQ(ReadFile(temp / "folder/a2"), "first");
  EXPECT_TRUE(folder.SetName("folder2"));
  EXPECT_FALSE(std::filesystem::exists(temp / "folder"));
}

TEST(FolderItem, AMoveToAnotherFileSystemCopiesWholeOrNotAtAll) {
  const TempFolder temp;
  std::string name = "/dev/shm/gravlin-XXXXXX";
  if (!mkdtemp(name.data())) GTEST_SKIP() << "no second file system";
  const FolderItem other = FolderItem::FromPath(name);
  struct stat here, there;
  stat(temp.Path().c_str(), &here);
  stat(name.c_str(), &there);
  if (here.st_dev != there.st_dev) {
    FolderItem item = temp.Write("big", std::string(3'000'001, 'x'));
    {
      const FileSizeLimit limit(1'000'000);
      EXPECT_FALSE(item.MoveTo(other));
    }
    EXPECT_EQ(other.Count(), 0) << "half a copy was left behind";
    EXPECT_EQ(item.Length(), 3'000'001);

    ASSERT_TRUE(item.MoveTo(other, "moved"));
    EXPECT_EQ(other.ChildNames(), std::vector<std::string>{"moved"});
    EXPECT_EQ(item.Length(), 3'000'001);
    EXPECT_EQ(temp.Item().Count(), 0);

    FolderItem rival = temp.Write("moved", "rival");
    EXPECT_FALSE(rival.MoveTo(other));
    EXPECT_EQ(other.Child("moved").Length(), 3'000'001);
    FolderItem link = temp.Item("link");
    std::filesystem::create_symlink("moved", temp / "link");
    EXPECT_FALSE(link.MoveTo(other));
  }
  std::filesystem::remove_all(name);
}

TEST(FolderItem, MakesFoldersAndPrivateFiles) {
  const TempFolder temp;
  FolderItem deep = temp.Item("x").Child("y").Child("z");
  EXPECT_TRUE(deep.CreateAsFolder());
  EXPECT_TRUE(deep.CreateAsFolder());
  EXPECT_TRUE(deep.IsFolder());
  FolderItem file = deep.Child("store");
  EXPECT_TRUE(file.CreatePrivateFile());
  EXPECT_FALSE(file.CreatePrivateFile());
  EXPECT_FALSE(file.CreateAsFolder());
  struct stat about;
  stat(file.NativePath().c_str(), &about);
  EXPECT_EQ(about.st_mode & 0777, 0600u);
  stat(deep.NativePath().c_str(), &about);
  EXPECT_EQ(about.st_mode & 0777, 0700u);
  EXPECT_TRUE(file.Flush());
  EXPECT_TRUE(deep.Flush());
  EXPECT_FALSE(deep.Delete()) << "a folder with entries";
  EXPECT_TRUE(file.Delete());
  EXPECT_TRUE(deep.Delete());
}

TEST(FolderItem, WritingNeverFollowsALinkAndNothingWaitsForAPipe) {
  const TempFolder temp;
  temp.Write("precious", "kept");
  std::filesystem::create_symlink("precious", temp / "link");
  std::filesystem::create_symlink("made through the link", temp / "dangling");
  ASSERT_EQ(mkfifo((temp / "pipe").c_str(), 0600), 0);
  for (const char* name : {"link", "dangling", "pipe"}) {
    const FolderItem item = temp.Item(name);
    EXPECT_TRUE(item.Exists());
    EXPECT_EQ(item.CreateTextFile(), nullptr) << name;
    EXPECT_EQ(item.AppendToTextFile(), nullptr) << name;
    EXPECT_FALSE(item.CreatePrivateFile()) << name;
    EXPECT_THROW(LongBinaryStream(item, true), NilObjectException) << name;
  }
  EXPECT_EQ(temp.Item("pipe").OpenAsTextFile(), nullptr);
  EXPECT_EQ(temp.Item().OpenAsTextFile(), nullptr) << "a folder";
  EXPECT_EQ(temp.Item("link").OpenAsTextFile()->ReadAll(), "kept");
  EXPECT_FALSE(std::filesystem::exists(temp / "made through the link"));
}

TEST(TextStreams, LinesEndAtEachOfTheThreeEnds) {
  const TempFolder temp;
  const FolderItem file = temp.Write("lines", "one\ntwo\r\nthree\r\rfour\n\nlast");
  const auto stream = file.OpenAsTextFile();
  std::vector<std::string> lines;
  while (!stream->EndOfFile()) lines.push_back(stream->ReadLine());
  EXPECT_EQ(lines, (std::vector<std::string>{"one", "two", "three", "", "four", "", "last"}));
  EXPECT_EQ(stream->PositionB(), file.Length());
  EXPECT_EQ(stream->ReadLine(), "");
  stream->SetPositionB(4);
  EXPECT_EQ(stream->ReadLine(), "two");
  EXPECT_EQ(stream->PositionB(), 9);

  // What another program adds after the end was met is read as well.
  stream->ReadAll();
  file.AppendToTextFile()->Write("\nmore");
  EXPECT_FALSE(stream->EndOfFile());
  EXPECT_EQ(stream->ReadAll(), "\nmore");
  stream->Close();
  EXPECT_TRUE(stream->EndOfFile());
}

TEST(TextStreams, ALineEndMayFallOnAnyByteOfTheBuffer) {
  const TempFolder temp;
  const std::size_t buffer = 256 * 1024;
  for (std::size_t length = buffer - 2; length <= buffer + 1; ++length) {
    const auto stream = temp.Write("f", std::string(length, 'x') + "\r\ny\r\n").OpenAsTextFile();
    std::string line = "old";
    stream->ReadLine(line);
    EXPECT_EQ(line.size(), length);
    stream->ReadLine(line);
    EXPECT_EQ(line, "y");
    EXPECT_TRUE(stream->EndOfFile());
  }
}

TEST(TextStreams, WritesReplaceOrAppendAndReportLostBytes) {
  const TempFolder temp;
  const FolderItem file = temp.Write("log", "old");
  EXPECT_TRUE(file.CreateTextFile()->Write("a"));
  EXPECT_TRUE(file.AppendToTextFile()->Write("b"));
  EXPECT_EQ(ReadFile(temp / "log"), "ab");
  const FileSizeLimit limit(10);
  EXPECT_FALSE(file.AppendToTextFile()->Write("more than ten bytes"));
}

TEST(LongBinaryStream, ReadsWhatItWrote) {
  const TempFolder temp;
  const FolderItem file = temp.Item("f");
  std::string expected;
  {
    LongBinaryStream out(file, true, 16);
    for (const std::size_t size : {1, 14, 1, 16, 0, 40, 15, 3}) {
      const std::string bytes(size, static_cast<char>('a' + size % 26));
      EXPECT_TRUE(out.Write(bytes));
      expected += bytes;
    }
    EXPECT_TRUE(out.Close());
    EXPECT_TRUE(out.Close());
    EXPECT_FALSE(out.Write("late"));
  }
  EXPECT_EQ(ReadFile(temp / "f"), expected);
  LongBinaryStream in(file, false, 16);
  std::string read(1000, '\0');
  std::size_t size = in.Read(read.data(), 7);
  EXPECT_EQ(size, 7u);
  size += in.Read(read.data() + size, read.size() - size);
  EXPECT_EQ(read.substr(0, size), expected);
  EXPECT_TRUE(in.EndOfFile());
  EXPECT_EQ(in.Read(read.data(), 1), 0u);
  EXPECT_THROW(LongBinaryStream(temp.Item("absent"), false), NilObjectException);
}

TEST(LongBinaryStream, TellsOfALostByteHoweverLateItIsNoticed) {
  const TempFolder temp;
  {
    const FileSizeLimit limit(100);
    LongBinaryStream out(temp.Item("f"), true, 64);
    EXPECT_TRUE(out.Write(std::string(60, 'x')));
    EXPECT_TRUE(out.Write(std::string(30, 'y')));
    EXPECT_TRUE(out.Write(std::string(20, 'z'))) << "still in the buffer";
    EXPECT_FALSE(out.Close());
    EXPECT_FALSE(out.Close());
  }
  LongBinaryStream out(temp.Item("g"), true, 64);
  {
    const FileSizeLimit limit(10);
    EXPECT_FALSE(out.Write(std::string(64, 'x')));
  }
  EXPECT_FALSE(out.Write(std::string(64, 'y'))) << "there is room again, but bytes are missing";
  EXPECT_FALSE(out.Close());
  EXPECT_EQ(ReadFile(temp / "g"), std::string(10, 'x'));
}

TEST(SpecialFolder, FollowsTheEnvironmentUnlessATestChose) {
  const std::string home = getenv("HOME");
  const std::string data = getenv("XDG_DATA_HOME") ? getenv("XDG_DATA_HOME") : "/";
  SpecialFolder::SetApplicationData({});
  setenv("HOME", "/home/someone", 1);
  setenv("XDG_DATA_HOME", "/data/home", 1);
  EXPECT_EQ(SpecialFolder::ApplicationData().NativePath(), "/data/home");
  setenv("XDG_DATA_HOME", "relative", 1);
  EXPECT_EQ(SpecialFolder::ApplicationData().NativePath(), "/home/someone/.local/share");
  setenv("HOME", home.c_str(), 1);
  setenv("XDG_DATA_HOME", data.c_str(), 1);
  SpecialFolder::SetApplications(FolderItem::FromPath("/opt"));
  EXPECT_EQ(SpecialFolder::Applications().NativePath(), "/opt");
  SpecialFolder::SetApplications({});
  EXPECT_EQ(SpecialFolder::Applications().NativePath(), "/usr/bin");
}

}  // namespace
}  // namespace gravlin
