// Saving over an old file: whatever fails, the old file stays byte for byte and the report says what happened.
#include <gmock/gmock.h>

#include <filesystem>

#include "Basic/OutputChannel.h"
#include "Bn/services/NetWriter.h"
#include "support/files.h"
#include "support/library.h"
#include "support/nets.h"

#if !defined(_WIN32)
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#endif

namespace bravic::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr char OLD[] = "the old file\n";

class NetSaveTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    path_ = directory_.Path("net.dne");
    WriteWhole(path_, OLD);
  }

  // Answers what was reported.
  std::string Save(const Net& net, const std::string& path) {
    const filespec_ns file = FileNamed_ns(path.c_str(), env);
    WriteNet_bn(net.get(), file);
    FreeFileSpec_ns(file);
    return Reports();
  }
  std::string Save(const Net& net) { return Save(net, path_); }
  bool IsSaved(const std::string& path) { return ReadWhole(path).starts_with("// ~->[DNET-1]->~\n"); }

  TemporaryDirectory directory_;
  std::string path_;
};

TEST_F(NetSaveTest, TakesTheOldFilesPlace) {
  const Net net = ChestClinic(env);
  net->dirty = true;
  EXPECT_EQ(Save(net), "");
  EXPECT_TRUE(IsSaved(path_));
  EXPECT_THAT(FilesIn(directory_.Path()), ElementsAre("net.dne"));
  EXPECT_FALSE(net->dirty);
  EXPECT_STREQ(net->filename, path_.c_str());

  WriteWhole(directory_.Path("Err0001.dne"), "left by an earlier failure");
  EXPECT_EQ(Save(net, directory_.Path("other.dne")), "");
  EXPECT_THAT(FilesIn(directory_.Path()), ElementsAre("Err0001.dne", "net.dne", "other.dne"));
  EXPECT_EQ(ReadWhole(directory_.Path("Err0001.dne")), "left by an earlier failure");
}

TEST_F(NetSaveTest, InTheCurrentDirectory) {
  const Net net = ChestClinic(env);
  const fs::path before = fs::current_path();
  fs::current_path(directory_.Path());
  EXPECT_EQ(Save(net, "net.dne"), "");
  fs::current_path(before);
  EXPECT_TRUE(IsSaved(path_));
  EXPECT_THAT(FilesIn(directory_.Path()), ElementsAre("net.dne"));
}

int stepsLeft;
bool RefuseOne(WriteStep, std::size_t) {
  return stepsLeft-- != 0;
}

TEST_F(NetSaveTest, EveryFailingStepKeepsTheOldFile) {
  const Net net = Chain(env, 200, 12);  // several buffers long
  for (int allowed = 0;; allowed++) {
    SCOPED_TRACE("steps allowed: " + std::to_string(allowed));
    net->dirty = true;
    stepsLeft = allowed;
    SetWriteGate(RefuseOne);
    const std::string reports = Save(net);
    SetWriteGate(nullptr);
    if (stepsLeft >= 0) {
      EXPECT_EQ(reports, "");
      EXPECT_TRUE(IsSaved(path_));
      EXPECT_FALSE(net->dirty);
      EXPECT_GT(allowed, 4);
      break;
    }
    EXPECT_EQ(ReadWhole(path_), OLD);
    EXPECT_TRUE(net->dirty);
    const std::string name = "Err0001.dne";  // stays behind
    EXPECT_THAT(FilesIn(directory_.Path()), ElementsAre(name, "net.dne"));
    EXPECT_EQ(reports, allowed == 0
                           ? "5 2012 WriteNet_bn: Couldn't open file '" + directory_.Path(name) + "' for writing\n"
                           : "5 2014 WriteNet_bn: Couldn't write file '" + directory_.Path(name) + "'\n");
    fs::remove(directory_.Path(name));
  }
}

TEST_F(NetSaveTest, MissingDirectory) {
  const Net net = ChestClinic(env);
  const std::string missing = directory_.Path("missing");
  EXPECT_EQ(Save(net, missing + "/net.dne"), "5 2187 WriteNet_bn: Directory '" + missing + "' doesn't exist\n");
  EXPECT_FALSE(fs::exists(missing));
}

TEST_F(NetSaveTest, DamagedNetIsNotWritten) {
  const Net net = ChestClinic(env);
  node_bn& slot = net->nodes.ar[0]->preds.ar[net->nodes.ar[0]->preds.num];
  const node_bn kept = slot;
  slot = nullptr;
  EXPECT_NE(Save(net), "");
  slot = kept;
  EXPECT_EQ(ReadWhole(path_), OLD);
  EXPECT_THAT(FilesIn(directory_.Path()), ElementsAre("net.dne"));
}

TEST_F(NetSaveTest, WriteProtectedFile) {
  const Net net = ChestClinic(env);
  fs::permissions(path_, static_cast<fs::perms>(0444));
  const std::string name = directory_.Path("Err0001.dne");
  EXPECT_EQ(Save(net),
            "5 2018 WriteNet_bn: Couldn't update file '" + path_ + "', new version saved as '" + name + "'\n");
  EXPECT_EQ(ReadWhole(path_), OLD);
  EXPECT_TRUE(IsSaved(name));
  fs::permissions(path_, static_cast<fs::perms>(0644));
}

TEST_F(NetSaveTest, DirectoryInThePlaceOfTheFile) {
  const Net net = ChestClinic(env);
  const std::string path = directory_.Path("folder");
  fs::create_directory(path);
  EXPECT_THAT(Save(net, path), StartsWith("5 2018 "));
  EXPECT_TRUE(fs::is_directory(path));
  EXPECT_TRUE(IsSaved(directory_.Path("Err0001.dne")));
}

#if defined(_WIN32)

TEST_F(NetSaveTest, DevicesAreWrittenToInPlace) {
  const Net net = ChestClinic(env);
  EXPECT_EQ(Save(net, "NUL"), "");
  EXPECT_FALSE(fs::exists("Err0001.dne"));
}

#else

TEST_F(NetSaveTest, LinksStayAndPermissionsAreKept) {
  const Net net = ChestClinic(env);
  fs::create_directory(directory_.Path("there"));
  const std::string target = directory_.Path("there/target.dne"), link = directory_.Path("link.dne");
  fs::create_symlink("there/target.dne", link);  // points to nothing yet
  EXPECT_EQ(Save(net, link), "");
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_TRUE(IsSaved(target));
  WriteWhole(target, OLD);
  fs::permissions(target, static_cast<fs::perms>(0640));
  const std::string second = directory_.Path("second.dne");
  fs::create_symlink(link, second);
  EXPECT_EQ(Save(net, second), "");
  EXPECT_TRUE(fs::is_symlink(second) && fs::is_symlink(link));
  EXPECT_TRUE(IsSaved(target));
  EXPECT_EQ(fs::status(target).permissions(), static_cast<fs::perms>(0640));
  EXPECT_THAT(FilesIn(directory_.Path("there")), ElementsAre("target.dne"));
}

TEST_F(NetSaveTest, NoFileCanBeMade) {
  const Net net = ChestClinic(env);
  if (geteuid() == 0) {  // to whom every directory is open but that of a pseudo file system
    if (!fs::exists("/proc/self")) GTEST_SKIP() << "no directory without room for files";
    EXPECT_EQ(Save(net, "/proc/self/net.dne"),
              "5 2013 WriteNet_bn: Couldn't create new file '/proc/self/Err0001.dne'\n");
    return;
  }
  fs::permissions(directory_.Path(), static_cast<fs::perms>(0500));
  EXPECT_THAT(Save(net), StartsWith("5 2013 WriteNet_bn: Couldn't create new file '"));
  fs::permissions(directory_.Path(), static_cast<fs::perms>(0700));
  EXPECT_EQ(ReadWhole(path_), OLD);
}

TEST_F(NetSaveTest, DevicesAreWrittenToInPlace) {
  const Net net = ChestClinic(env);
  if (!fs::is_character_file("/dev/null") || !fs::is_character_file("/dev/full")) GTEST_SKIP() << "no devices";
  EXPECT_EQ(Save(net, "/dev/null"), "");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  EXPECT_THAT(Save(net, "/dev/full"), HasSubstr("2014 WriteNet_bn: Couldn't write file '/dev/full' (No space left"));
}

// A disk that is full after so many bytes: a limit on the size of files, in a process of its own.
TEST_F(NetSaveTest, FullDisk) {
  const Net net = Chain(env, 200, 12);
  for (const rlim_t limit : {0, 1, 65536, 100000}) {
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      const rlimit limits = {limit, limit};
      std::signal(SIGXFSZ, SIG_IGN);
      setrlimit(RLIMIT_FSIZE, &limits);
      const std::string reports = Save(net);
      _exit(reports.starts_with("5 2014 ") && reports.find("File too large") != std::string::npos ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "limit " << limit;
    EXPECT_EQ(ReadWhole(path_), OLD);
    EXPECT_EQ(fs::file_size(directory_.Path("Err0001.dne")), limit);
    fs::remove(directory_.Path("Err0001.dne"));
  }
  EXPECT_EQ(Save(net), "");
  EXPECT_TRUE(IsSaved(path_));
}

#endif

}  // namespace
}  // namespace bravic::testing
