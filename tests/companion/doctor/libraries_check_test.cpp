#include "companion/doctor/libraries_check.h"

#include "support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <elf.h>
#include <link.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

/// The bytes of this test: a program for this machine that needs shared libraries.
std::string goodProgram() {
  std::ostringstream bytes;
  bytes << std::ifstream("/proc/self/exe", std::ios::binary).rdbuf();
  return bytes.str();
}

ElfW(Ehdr) & headerOf(std::string& program) {
  return *reinterpret_cast<ElfW(Ehdr)*>(program.data());
}

/// The segment of `program` that names its loader.
ElfW(Phdr) & loaderSegment(std::string& program) {
  auto* segment = reinterpret_cast<ElfW(Phdr)*>(program.data() + headerOf(program).e_phoff);
  while (segment->p_type != PT_INTERP) ++segment;
  return *segment;
}

Finding check(const std::string& program) {
  const TemporaryFolder folder;
  const std::string path = folder.path() + "/server";
  std::ofstream(path, std::ios::binary) << program;
  fs::permissions(path, fs::perms(0700));
  Finding finding = checkLibraries(path);
  if (const std::size_t at = finding.text.find(path); at != std::string::npos)
    finding.text.replace(at, path.size(), "SERVER");
  return finding;
}

TEST(CheckLibraries, FindsAllOfAGoodProgram) {
  const Finding finding = check(goodProgram());
  EXPECT_EQ(finding.text, "the server's shared libraries are found");
  EXPECT_EQ(finding.verdict, Verdict::kFine);
}

TEST(CheckLibraries, FindsAVersionThatALibraryDoesNotHave) {
  std::string program = goodProgram();
  const std::size_t version = program.find(std::string("\0GLIBC_2.", 9));
  ASSERT_NE(version, std::string::npos);
  program.replace(version + 1, 8, "GLIBC_9.");
  const Finding finding = check(program);
  EXPECT_THAT(
      finding.text,
      testing::MatchesRegex("shared libraries of the server are too old: .* has no version GLIBC_9\\..*"));
  EXPECT_EQ(finding.verdict, Verdict::kWrong);
}

TEST(CheckLibraries, RefusesWhatIsNoProgramForThisMachine) {
  std::string foreign = goodProgram();
  headerOf(foreign).e_machine = headerOf(foreign).e_machine == EM_S390 ? EM_ARM : EM_S390;
  EXPECT_EQ(check(foreign).text, "SERVER is not for this machine");
  std::string object = goodProgram();
  headerOf(object).e_type = ET_REL;
  EXPECT_EQ(check(object).text, "SERVER is no program");
  EXPECT_EQ(check("only text\n").text, "SERVER is no program");
  EXPECT_EQ(check("").text, "SERVER is no program");
  EXPECT_EQ(check(foreign).verdict, Verdict::kWrong);
  EXPECT_EQ(check("").verdict, Verdict::kWrong);
}

TEST(CheckLibraries, RefusesADamagedProgram) {
  std::string program = goodProgram();
  loaderSegment(program).p_filesz = 5000;
  EXPECT_EQ(check(program).text, "SERVER is damaged");
  program.resize(headerOf(program).e_phoff);
  EXPECT_EQ(check(program).text, "SERVER is damaged");
}

TEST(CheckLibraries, RefusesAProgramWhoseLoaderIsNotThere) {
  std::string program = goodProgram();
  program.at(loaderSegment(program).p_offset + 1) = '~';
  const Finding finding = check(program);
  EXPECT_THAT(finding.text, HasSubstr("cannot load the server"));
  EXPECT_EQ(finding.verdict, Verdict::kWrong);
}

TEST(CheckLibraries, JudgesNothingWhereTheLoaderCannotBeStarted) {
  const TemporaryFolder folder;
  const std::string loader = folder.path() + "/loader";
  std::ofstream(loader) << "no program";
  fs::permissions(loader, fs::perms(0700));
  std::string program = goodProgram();
  loaderSegment(program).p_offset = program.size();
  loaderSegment(program).p_filesz = loader.size() + 1;
  program.append(loader.c_str(), loader.size() + 1);
  const Finding finding = check(program);
  EXPECT_THAT(finding.text, testing::StartsWith("the server's shared libraries were not looked at: "));
  EXPECT_EQ(finding.verdict, Verdict::kNote);
}

TEST(CheckLibraries, RunsNothingOfAStaticProgram) {
  const TemporaryFolder folder;
  std::string program = goodProgram();
  loaderSegment(program).p_type = PT_NULL;
  EXPECT_EQ(check(program).text, "the server needs no shared libraries");
  EXPECT_EQ(check(program).verdict, Verdict::kFine);
}

TEST(CheckLibraries, RunsNothingOfAScript) {
  const TemporaryFolder folder;
  const Finding finding = check("#!/bin/sh\ntouch " + folder.path() + "/mark\n");
  EXPECT_EQ(finding.text, "the server is a script; what it starts is not looked at");
  EXPECT_EQ(finding.verdict, Verdict::kNote);
  EXPECT_FALSE(fs::exists(folder.path() + "/mark"));
}

}  // namespace
