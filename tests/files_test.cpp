// Files, folders and streams on a real file system, with a limit on file size instead of a full
// disk.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/failures.h"
#include "platform/folder_item.h"
#include "platform/streams.h"
#include "support/full_disk.h"
#include "support/temp_folder.h"

namespace gravlin {
namespace {

namespace fs = std::filesystem;
using testing::FullDisk;
using testing::ReadFile;
using testing::TempFolder;

TEST(FolderItem, NamesThatNoFileSystemTakesGiveNilAndOnlyNilThrows) {
  const FolderItem folder = FolderItem::FromPath("//tmp///");
  EXPECT_EQ(folder.NativePath(), "/tmp");
  for (const char* name : {"", ".", "..", "a/b"}) EXPECT_TRUE(folder.Child(name).IsNil()) << name;
  EXPECT_TRUE(folder.Child(std::string_view("a\0b", 3)).IsNil());
  EXPECT_TRUE(folder.Child(std::string(256, 'x')).IsNil());
  EXPECT_EQ(folder.Child("...").Name(), "...");
  EXPECT_FALSE(folder.Child(std::string(255, 'x')).IsNil());
  const FolderItem nil = FolderItem::FromPath("relative/path");
  EXPECT_THROW(nil.Exists(), NilObjectException);
  EXPECT_THROW(nil.OpenAsTextFile(), NilObjectException);
  EXPECT_THROW(LongBinaryStream(nil, false), NilObjectException);
  FolderItem absent = FolderItem::FromPath("/no such folder/file");
  EXPECT_FALSE(absent.Exists() || absent.Delete() || absent.Flush() || absent.Length() > 0);
  EXPECT_FALSE(absent.SetName("other") || absent.MoveTo(folder));
  EXPECT_FALSE(absent.OpenAsTextFile() || absent.CreateTextFile() || absent.Count() > 0);
  EXPECT_THROW(LongBinaryStream(absent, false), NilObjectException);
}

TEST(FolderItem, TheColonFormLeadsBackToTheSamePathWithoutDots) {
  const TempFolder temp;
  FolderItem odd = temp.Item().Child("made on the way").Child("a:b \xFF");
  ASSERT_TRUE(odd.CreateAsFolder() && odd.CreateAsFolder());
  EXPECT_EQ(fs::status(odd.NativePath()).permissions(), fs::perms::owner_all);
  const FolderItem file = odd.Child("x:y.rar");
  EXPECT_TRUE(odd.AbsolutePath().ends_with(":a/b \xFF:"));
  EXPECT_TRUE(file.AbsolutePath().ends_with(":a/b \xFF:x/y.rar"));
  EXPECT_EQ(FolderItem::FromAbsolutePath(file.AbsolutePath()), file);
  EXPECT_EQ(FolderItem::FromAbsolutePath(odd.AbsolutePath()), file.Parent());
  EXPECT_EQ(FolderItem::FromAbsolutePath("System:").NativePath(), "/");
  EXPECT_TRUE(FolderItem::FromAbsolutePath("no volume").IsNil());
  EXPECT_TRUE(FolderItem::FromAbsolutePath("System:a::b").IsNil());

  const std::string in = temp.Path().string();
  fs::create_directories(temp / "a/b");
  fs::create_directory_symlink("a/b", temp / "link");
  const std::pair<std::string, std::string> dotted[] = {{"/./tmp/.", "/tmp"},
                                                        {"/..", "/"},
                                                        {"/no such/../x/..y/", "/x/..y"},
                                                        {in + "/a/../c", in + "/c"},
                                                        {in + "/link/../c", in + "/a/c"},
                                                        {in + "/link/.", in + "/link"}};
  for (const auto& [path, clean] : dotted) {
    const FolderItem item = FolderItem::FromPath(path);
    EXPECT_EQ(item.NativePath(), clean) << path;
    EXPECT_EQ(FolderItem::FromAbsolutePath(item.AbsolutePath()), item) << path;
  }
}

TEST(FolderItem, ARenameOrAMoveNeverReplacesWhatIsThere) {
  const TempFolder temp;
  FolderItem item = temp.Write("a", "first");
  temp.Write("b", "second");
  FolderItem folder = temp.Item("folder");
  ASSERT_TRUE(folder.CreateAsFolder());
  temp.Write("folder/c", "third");
  fs::create_symlink("nowhere", temp / "link");
  for (const char* name : {"b", "link", "a/b"}) EXPECT_FALSE(item.SetName(name)) << name;
  EXPECT_FALSE(item.MoveTo(folder, "c"));
  EXPECT_EQ(item.Name(), "a");
  EXPECT_EQ(ReadFile(temp / "b") + ReadFile(temp / "folder/c"), "secondthird");

  EXPECT_TRUE(item.SetName("a2"));
  EXPECT_TRUE(item.MoveTo(folder));
  EXPECT_EQ(item, folder.Child("a2"));
  EXPECT_TRUE(folder.SetName("folder2"));
  EXPECT_EQ(ReadFile(temp / "folder2/a2"), "first");
  EXPECT_FALSE(folder.Delete()) << "a folder with entries";
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
      const FullDisk full(1'000'000);
      EXPECT_FALSE(item.MoveTo(other));
    }
    EXPECT_EQ(other.Count(), 0) << "half a copy was left";
    EXPECT_EQ(item.Length(), 3'000'001);

    ASSERT_TRUE(item.MoveTo(other, "moved"));
    EXPECT_EQ(item, other.Child("moved"));
    EXPECT_EQ(temp.Item().Count(), 0);

    EXPECT_FALSE(temp.Write("moved", "rival").MoveTo(other));
    fs::create_symlink("moved", temp / "link");
    EXPECT_FALSE(temp.Item("link").MoveTo(other));
    EXPECT_EQ(other.ChildNames(), std::vector<std::string>{"moved"});
    EXPECT_EQ(item.Length(), 3'000'001);
  }
  fs::remove_all(name);
}

TEST(FolderItem, WritingNeverFollowsALinkAndNothingWaitsForAPipe) {
  const TempFolder temp;
  temp.Write("precious", "kept");
  fs::create_symlink("precious", temp / "link");
  fs::create_symlink("made through the link", temp / "dangling");
  ASSERT_EQ(mkfifo((temp / "pipe").c_str(), 0600), 0);
  for (const char* name : {"link", "dangling", "pipe"}) {
    const FolderItem item = temp.Item(name);
    EXPECT_TRUE(item.Exists());
    EXPECT_EQ(item.AppendToTextFile(), nullptr) << name;
    EXPECT_FALSE(item.CreatePrivateFile()) << name;
  }
  EXPECT_EQ(temp.Item("pipe").CreateTextFile(), nullptr);
  EXPECT_THROW(LongBinaryStream(temp.Item("pipe"), true), NilObjectException);
  EXPECT_EQ(temp.Item("pipe").OpenAsTextFile(), nullptr);
  EXPECT_EQ(temp.Item().OpenAsTextFile(), nullptr) << "a folder";
  EXPECT_EQ(temp.Item("link").OpenAsTextFile()->ReadAll(), "kept");
  // A file that is written anew replaces a link of the same name.
  fs::create_hard_link(temp / "precious", temp / "hard link");
  for (const char* name : {"link", "dangling", "hard link"}) {
    EXPECT_TRUE(temp.Item(name).CreateTextFile()->Write("new")) << name;
    EXPECT_EQ(ReadFile(temp / name), "new");
    EXPECT_FALSE(fs::is_symlink(temp / name)) << name;
  }
  EXPECT_EQ(ReadFile(temp / "precious"), "kept");
  EXPECT_FALSE(fs::exists(temp / "made through the link"));
}

TEST(TextStreams, LinesEndAtEachOfTheThreeEndsOnAnyByteOfTheBuffer) {
  const TempFolder temp;
  const std::size_t buffer = 256 * 1024;
  for (std::size_t length = buffer - 2; length <= buffer + 1; ++length) {
    const FolderItem file = temp.Write("lines", "replaced");
    const std::string first(length, 'x');
    EXPECT_TRUE(file.CreateTextFile()->Write(first + "\r\ntwo\nthree\r\rfour\n\nlast"));
    const auto stream = file.OpenAsTextFile();
    std::vector<std::string> lines;
    while (!stream->EndOfFile()) lines.push_back(stream->ReadLine());
    EXPECT_EQ(lines, (std::vector<std::string>{first, "two", "three", "", "four", "", "last"}));
    EXPECT_EQ(stream->PositionB(), file.Length());
    // Text that another program adds after the end was reached is read as well.
    EXPECT_TRUE(file.AppendToTextFile()->Write("\nmore"));
    EXPECT_FALSE(stream->EndOfFile());
    EXPECT_EQ(stream->ReadAll(), "\nmore");
    EXPECT_TRUE(stream->EndOfFile());
    stream->SetPositionB(static_cast<std::int64_t>(length) + 2);
    EXPECT_EQ(stream->ReadLine(), "two");
  }
}

TEST(Streams, TellOfALostByteHoweverLateTheyNotice) {
  const TempFolder temp;
  LongBinaryStream late(temp.Item("f"), true, 64), early(temp.Item("g"), true, 64);
  {
    const FullDisk full(10);
    EXPECT_TRUE(late.Write(std::string(20, 'z'))) << "still in the buffer";
    EXPECT_FALSE(late.Close() || late.Close());
    EXPECT_FALSE(early.Write(std::string(64, 'x')));
    EXPECT_FALSE(temp.Write("log", "").AppendToTextFile()->Write("more than ten bytes"));
  }
  EXPECT_FALSE(early.Write(std::string(64, 'y'))) << "there is room again, but bytes are missing";
  EXPECT_FALSE(early.Close());
  EXPECT_EQ(ReadFile(temp / "g"), std::string(10, 'x'));
  // Its first bytes are no memory of this process.
  LongBinaryStream unreadable(FolderItem::FromPath("/proc/self/mem"), false);
  EXPECT_TRUE(unreadable.EndOfFile());
  EXPECT_FALSE(unreadable.Close());
}

}  // namespace
}  // namespace gravlin
