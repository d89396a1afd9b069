// Saving over an old file: whatever fails, the old file stays byte for byte and the report says what happened.

#include "Basic/OutputChannel.h"
#include "Bn/files/NetWriter.h"
#include "support/net_fixture.h"

#if !defined(_WIN32)
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace bravic::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

constexpr char OLD[] = "the old file\n";

class NetSaveTest : public NetTest {
 protected:
  void SetUp() override {
    NetTest::SetUp();
    net = ChestClinic(env);
    path_ = directory.Path("net.dne");
    WriteWhole(path_, OLD);
  }

  // Answers what was reported.
  std::string Save(const Net& which, const std::string& path) {
    const filespec_ns file = FileNamed_ns(path.c_str(), env);
    WriteNet_bn(which.get(), file);
    FreeFileSpec_ns(file);
    return Reports();
  }
  std::string Save(const Net& net) { return Save(net, path_); }
  bool IsSaved(const std::string& path) { return ReadWhole(path).starts_with("// ~->[DNET-1]->~\n"); }

  std::string path_;
};

TEST_F(NetSaveTest, TakesTheOldFilesPlace) {
  net->dirty = true;
  EXPECT_EQ(Save(net), "");
  EXPECT_EQ(ReadWhole(path_), Written(net));
  EXPECT_THAT(FilesIn(directory.Path()), ElementsAre("net.dne"));
  EXPECT_FALSE(net->dirty);
  EXPECT_STREQ(net->filename, path_.c_str());

  WriteWhole(directory.Path("Err0001.dne"), "left by an earlier failure");
  EXPECT_EQ(Save(net, directory.Path("other.dne")), "");
  EXPECT_THAT(FilesIn(directory.Path()), ElementsAre("Err0001.dne", "net.dne", "other.dne"));
  EXPECT_EQ(ReadWhole(directory.Path("Err0001.dne")), "left by an earlier failure");
}

TEST_F(NetSaveTest, InTheCurrentDirectory) {
  const fs::path before = fs::current_path();
  fs::current_path(directory.Path());
  EXPECT_EQ(Save(net, "net.dne"), "");
  fs::current_path(before);
  EXPECT_TRUE(IsSaved(path_));
  EXPECT_THAT(FilesIn(directory.Path()), ElementsAre("net.dne"));
}

int stepsLeft;
bool RefuseOne(WriteStep, std::size_t) {
  return stepsLeft-- != 0;
}

TEST_F(NetSaveTest, EveryFailingStepKeepsTheOldFile) {
  net = Chain(env, 200, 12);  // several buffers long
  for (int allowed = 0;; ++allowed) {
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
    EXPECT_THAT(FilesIn(directory.Path()), ElementsAre(name, "net.dne"));
    EXPECT_EQ(reports, allowed == 0
                           ? "5 2012 WriteNet_bn: Couldn't open file '" + directory.Path(name) + "' for writing\n"
                           : "5 2014 WriteNet_bn: Couldn't write file '" + directory.Path(name) + "'\n");
    fs::remove(directory.Path(name));
  }
}

TEST_F(NetSaveTest, MissingDirectory) {
  const std::string missing = directory.Path("missing");
  EXPECT_EQ(Save(net, missing + "/net.dne"), "5 2187 WriteNet_bn: Directory '" + missing + "' doesn't exist\n");
  EXPECT_FALSE(fs::exists(missing));
}

TEST_F(NetSaveTest, DamagedNetIsNotWritten) {
  node_bn& slot = net->nodes.ar[0]->preds.ar[net->nodes.ar[0]->preds.num];
  const node_bn kept = slot;
  slot = nullptr;
  EXPECT_NE(Save(net), "");
  slot = kept;
  EXPECT_EQ(ReadWhole(path_), OLD);
  EXPECT_THAT(FilesIn(directory.Path()), ElementsAre("net.dne"));
}

TEST_F(NetSaveTest, WriteProtectedFile) {
  fs::permissions(path_, static_cast<fs::perms>(0444));
  const std::string name = directory.Path("Err0001.dne");
  EXPECT_EQ(Save(net),
            "5 2018 WriteNet_bn: Couldn't update file '" + path_ + "', new version saved as '" + name + "'\n");
  EXPECT_EQ(ReadWhole(path_), OLD);
  EXPECT_TRUE(IsSaved(name));
  fs::permissions(path_, static_cast<fs::perms>(0644));
}

TEST_F(NetSaveTest, DirectoryInThePlaceOfTheFile) {
  const std::string path = directory.Path("folder");
  fs::create_directory(path);
  EXPECT_THAT(Save(net, path), StartsWith("5 2018 "));
  EXPECT_TRUE(fs::is_directory(path));
  EXPECT_TRUE(IsSaved(directory.Path("Err0001.dne")));
}

#if defined(_WIN32)

TEST_F(NetSaveTest, DevicesAreWrittenToInPlace) {
  EXPECT_EQ(Save(net, "NUL"), "");
  EXPECT_FALSE(fs::exists("Err0001.dne"));
}

#else

TEST_F(NetSaveTest, LinksStayAndPermissionsAreKept) {
  fs::create_directory(directory.Path("there"));
  const std::string target = directory.Path("there/target.dne"), link = directory.Path("link.dne");
  fs::create_symlink("there/target.dne", link);  // points to nothing yet
  EXPECT_EQ(Save(net, link), "");
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_TRUE(IsSaved(target));
  WriteWhole(target, OLD);
  fs::permissions(target, static_cast<fs::perms>(0640));
  const std::string second = directory.Path("second.dne");
  fs::create_symlink(link, second);
  EXPECT_EQ(Save(net, second), "");
  EXPECT_TRUE(fs::is_symlink(second) && fs::is_symlink(link));
  EXPECT_TRUE(IsSaved(target));
  EXPECT_EQ(fs::status(target).permissions(), static_cast<fs::perms>(0640));
  EXPECT_THAT(FilesIn(directory.Path("there")), ElementsAre("target.dne"));
}

TEST_F(NetSaveTest, LinksInACircleAreRefused) {
  const std::string link = directory.Path("link.dne");
  fs::create_symlink("other.dne", link);
  fs::create_symlink("link.dne", directory.Path("other.dne"));
  EXPECT_THAT(Save(net, link), StartsWith("5 2430 WriteNet_bn: Couldn't save to '" + link));
  EXPECT_THAT(FilesIn(directory.Path()), ElementsAre("link.dne", "net.dne", "other.dne"));
}

TEST_F(NetSaveTest, TheOwnerIsKept) {
  if (geteuid() != 0) GTEST_SKIP() << "nobody else may give files away";
  ASSERT_EQ(chown(path_.c_str(), 12345, 23456), 0);
  fs::permissions(path_, static_cast<fs::perms>(04750));
  EXPECT_EQ(Save(net), "");
  struct stat status;
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(std::make_tuple(status.st_uid, status.st_gid, status.st_mode & 07777),
            std::make_tuple(12345, 23456, 04750));
}

// A message has room for the path or for its reason.
TEST_F(NetSaveTest, LongPathsAreCutInTheirMiddle) {
  std::string folder = directory.Path();
  for (int i = 0; i < 3; ++i) folder += "/" + std::string(200, static_cast<char>('a' + i));
  fs::create_directories(folder);
  const std::string file = folder + "/net.dne";
  EXPECT_EQ(ReadFrom(file), nullptr);
  EXPECT_THAT(Reports(), AllOf(HasSubstr("5 2012 "), HasSubstr("..."), HasSubstr("/net.dne' does not exist")));
  const filespec_ns cases = FileNamed_ns(file.c_str(), env);
  SetWriteGate(RefuseOne);
  stepsLeft = 1;
  WriteCase_bn(GetNetNodes_bn(net.get()), cases, -1, -1);
  SetWriteGate(nullptr);
  FreeFileSpec_ns(cases);
  EXPECT_THAT(Reports(), AllOf(StartsWith("5 2120 WriteCase_bn: "), HasSubstr("/net.dne'")));
}

TEST_F(NetSaveTest, NoFileCanBeMade) {
  if (geteuid() == 0) {  // to whom every directory is open but that of a pseudo file system
    if (!fs::exists("/proc/self")) GTEST_SKIP() << "no directory without room for files";
    EXPECT_EQ(Save(net, "/proc/self/net.dne"),
              "5 2013 WriteNet_bn: Couldn't create new file '/proc/self/Err0001.dne'\n");
    return;
  }
  fs::permissions(directory.Path(), static_cast<fs::perms>(0500));
  EXPECT_THAT(Save(net), StartsWith("5 2013 WriteNet_bn: Couldn't create new file '"));
  fs::permissions(directory.Path(), static_cast<fs::perms>(0700));
  EXPECT_EQ(ReadWhole(path_), OLD);
}

TEST_F(NetSaveTest, DevicesAreWrittenToInPlace) {
  if (!fs::is_character_file("/dev/null") || !fs::is_character_file("/dev/full")) GTEST_SKIP() << "no devices";
  EXPECT_EQ(Save(net, "/dev/null"), "");
  EXPECT_TRUE(fs::is_character_file("/dev/null"));
  EXPECT_THAT(Save(net, "/dev/full"), HasSubstr("2014 WriteNet_bn: Couldn't write file '/dev/full' (No space left"));
}

#endif

}  // namespace
}  // namespace bravic::testing
