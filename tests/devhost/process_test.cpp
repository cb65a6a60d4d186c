// The development host as its users start it: options, socket, framing, several clients, its end.

#include "devhost/devhost_process.h"
#include "devhost/test_folder.h"
#include "support/crowd.h"
#include "support/scripted_host.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

const QString kServiceName = QStringLiteral(ORVANE_TEST_SERVICE_NAME);
const QString kCurrentAddress = QStringLiteral("currentAddressWithReply:");

QString samplePath() {
  return testDataPath("sample_x86_64.elf");
}

/// A host that serves one document, until the test ends.
class ServedSample : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(host_.startAndWait({samplePath()}),
              QStringLiteral("orvane-devhost: serving 1 document as ") + socketPath());
  }

  QString socketPath() const { return folder_.path(kServiceName); }

  void waitForDescriptors(qsizetype count) const {
    const QDeadlineTimer deadline(kPatienceMs);
    while (host_.descriptorCount() != count && !deadline.hasExpired()) usleep(1000);
    EXPECT_EQ(host_.descriptorCount(), count);
  }

  TestFolder folder_;
  DevhostProcess host_{folder_.path()};
};

class Starting : public testing::Test {
 protected:
  QString socketPath() const { return folder_.path(kServiceName); }

  TestFolder folder_;
  DevhostProcess host_{folder_.path()};
};

TEST_F(ServedSample, PutsTheNativeEndianLengthBeforeTheReplyAndNothingAfterIt) {
  RawClient client(socketPath());
  const QByteArray text = R"({"result":"0x1350","success":true})";
  QByteArray expected(4, '\0');
  const auto length = static_cast<std::int32_t>(text.size());
  std::memcpy(expected.data(), &length, sizeof length);
  expected += text;
  client.send(R"({"args":[],"request":"currentAddressWithReply:"})"
              "\n");
  EXPECT_EQ(client.read(expected.size()), expected);
  client.send(requestLine("documentListWithReply:"));
  EXPECT_EQ(client.readReply()["result"].toArray(), QJsonArray{"sample_x86_64.elf"});
}

TEST_F(ServedSample, ReadsARequestThatArrivesByteByByte) {
  RawClient client(socketPath());
  for (const char byte : requestLine(kCurrentAddress)) client.send(QByteArray(1, byte));
  EXPECT_EQ(client.readReply()["result"], "0x1350");
}

TEST_F(ServedSample, AnswersRequestsThatArriveTogetherInTheirOrder) {
  RawClient client(socketPath());
  QByteArray lines;
  for (int i = 0; i < 100; ++i) {
    lines += requestLine("gotoAddress:withReply:", {QStringLiteral("0x13%1").arg(10 + i % 80)});
    lines += requestLine(kCurrentAddress);
  }
  client.send(lines);
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(client.readReply()["success"], true);
    EXPECT_EQ(client.readReply()["result"], QStringLiteral("0x13%1").arg(10 + i % 80));
  }
}

TEST_F(ServedSample, SaysWhatIsWrongWithARequestAndGoesOn) {
  struct Row {
    QByteArray line;
    const char* error;
  };
  const Row rows[] = {
      {"", "The request is not JSON: illegal value."},
      {"{", "The request is not JSON: unterminated object."},
      {"\xff\xfe", "The request is not JSON: illegal value."},
      {"[1]", "The request is not a JSON object."},
      {"{}", "There is no request \"\"."},
      {R"({"request":7,"args":[]})", "There is no request \"\"."},
      {R"({"request":"sing","args":[]})", "There is no request \"sing\"."},
      {R"({"request":"currentAddressWithReply:"})",
       "The request \"currentAddressWithReply:\" has no array \"args\"."},
      {R"({"request":"currentAddressWithReply:","args":{}})",
       "The request \"currentAddressWithReply:\" has no array \"args\"."},
      {R"({"request":"currentAddressWithReply:","args":[1]})",
       "The request \"currentAddressWithReply:\" takes 0 arguments, not 1."},
      {R"({"request":"gotoAddress:withReply:","args":[]})",
       "The request \"gotoAddress:withReply:\" takes 1 argument, not 0."},
      {R"({"request":"gotoAddress:withReply:","args":[4096]})",
       "Argument 1 of the request \"gotoAddress:withReply:\" is not a string."},
      {R"({"request":"searchNameUsingPattern:caseSensitive:withReply:","args":["a","b"]})",
       "Argument 2 of the request \"searchNameUsingPattern:caseSensitive:withReply:\" is not a boolean."},
      {R"({"request":"setNamesOfAddresses:withReply:","args":["a"]})",
       "Argument 1 of the request \"setNamesOfAddresses:withReply:\" is not an object."},
  };
  RawClient client(socketPath());
  for (const Row& row : rows) {
    client.send(row.line + '\n');
    const QJsonObject reply = client.readReply();
    EXPECT_EQ(reply, (QJsonObject{{"success", false}, {"error", row.error}}))
        << row.line.constData() << "\n"
        << QJsonDocument(reply).toJson().constData();
  }
  EXPECT_EQ(client.ask(kCurrentAddress)["result"], "0x1350");
}

TEST_F(ServedSample, RefusesARequestWithoutEndAndGoesOnAfterIt) {
  RawClient client(socketPath());
  const QByteArray piece(1 << 20, 'a');
  for (int i = 0; i < 33; ++i) client.send(piece);
  client.send("\n" + requestLine(kCurrentAddress));
  EXPECT_EQ(client.readReply()["error"], "The request is longer than 33554432 bytes.");
  EXPECT_EQ(client.readReply()["result"], "0x1350");
}

TEST_F(ServedSample, AnswersSixtyFourClientsThatAllAskBeforeAnyReads) {
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < 64; ++i) clients.push_back(std::make_unique<RawClient>(socketPath()));
  for (auto& client : clients) client->send(requestLine("procedureInfoListWithReply:"));
  for (auto& client : clients) EXPECT_EQ(client->readReply()["result"].toObject().size(), 4);
}

TEST_F(ServedSample, ShowsOneClientWhatAnotherHasChanged) {
  RawClient first(socketPath());
  RawClient second(socketPath());
  EXPECT_EQ(first.ask("setNameOfAddress:to:withReply:", {"twice", "doubled"})["success"], true);
  EXPECT_EQ(second.ask("nameOfAddress:withReply:", {"0x1310"})["result"], "doubled");
}

TEST_F(ServedSample, ClosesTheDescriptorsOfClientsThatVanish) {
  const qsizetype before = host_.descriptorCount();
  {
    RawClient silent(socketPath());
    RawClient halfway(socketPath());
    halfway.send(requestLine(kCurrentAddress).chopped(5));
    RawClient deaf(socketPath());
    for (int i = 0; i < 500; ++i) deaf.send(requestLine("procedureInfoListWithReply:"));
    RawClient witness(socketPath());
    EXPECT_EQ(witness.ask(kCurrentAddress)["result"], "0x1350");
    EXPECT_EQ(host_.descriptorCount(), before + 4);
  }
  waitForDescriptors(before);
  RawClient later(socketPath());
  EXPECT_EQ(later.ask(kCurrentAddress)["result"], "0x1350");
}

TEST_F(ServedSample, TurnsAwayClientsBeyondFiveHundredAndTwelveAndStaysReachable) {
  const qsizetype before = host_.descriptorCount();
  {
    std::vector<std::unique_ptr<RawClient>> clients;
    clients.reserve(512);
    for (int i = 0; i < 512; ++i) {
      clients.push_back(std::make_unique<RawClient>(socketPath()));
      ASSERT_EQ(clients.back()->ask(kCurrentAddress)["result"], "0x1350") << i;
    }
    RawClient onceTooMany(socketPath());
    EXPECT_EQ(onceTooMany.read(1), QByteArray());
    EXPECT_EQ(clients.back()->ask(kCurrentAddress)["result"], "0x1350");
  }
  waitForDescriptors(before);
  RawClient later(socketPath());
  EXPECT_EQ(later.ask(kCurrentAddress)["result"], "0x1350");
}

TEST_F(ServedSample, LetsOnlyItsOwnUserConnect) {
  struct stat status {};
  ASSERT_EQ(stat(qPrintable(socketPath()), &status), 0);
  EXPECT_TRUE(S_ISSOCK(status.st_mode));
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(ServedSample, RefusesASecondHostOfTheSameName) {
  DevhostProcess second(folder_.path());
  EXPECT_EQ(second.run({samplePath()}), 1);
  EXPECT_EQ(second.standardError(),
            QStringLiteral("orvane-devhost: another host already serves %1\n").arg(socketPath()).toUtf8());
  RawClient client(socketPath());
  EXPECT_EQ(client.ask(kCurrentAddress)["result"], "0x1350");
}

TEST_F(ServedSample, LetsAHostOfAnotherNameServeBesideIt) {
  DevhostProcess second(folder_.path());
  const QString path = folder_.path("other.external-api");
  EXPECT_EQ(second.startAndWait({"--service", "other.external-api", samplePath(), samplePath()}),
            QStringLiteral("orvane-devhost: serving 2 documents as ") + path);
  RawClient client(path);
  EXPECT_EQ(client.ask("documentListWithReply:")["result"].toArray(),
            (QJsonArray{"sample_x86_64.elf", "sample_x86_64.elf (2)"}));
}

class StopSignal : public ServedSample, public testing::WithParamInterface<int> {};

TEST_P(StopSignal, EndsItWithStatusZeroAndRemovesItsSocket) {
  RawClient client(socketPath());
  EXPECT_EQ(client.ask(kCurrentAddress)["result"], "0x1350");
  EXPECT_EQ(host_.stop(GetParam()), 0);
  EXPECT_EQ(
      QDir(folder_.path()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System | QDir::Hidden),
      QStringList());
}

INSTANTIATE_TEST_SUITE_P(Signals, StopSignal, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_F(Starting, RemovesTheSocketOfAHostThatWasKilled) {
  ASSERT_NE(host_.startAndWait({samplePath()}), QString());
  EXPECT_EQ(host_.stop(SIGKILL), -1);
  ASSERT_TRUE(QFileInfo::exists(socketPath()));
  DevhostProcess next(folder_.path());
  EXPECT_EQ(next.startAndWait({samplePath()}),
            QStringLiteral("orvane-devhost: serving 1 document as ") + socketPath());
}

TEST_F(Starting, RefusesWhereAHostOfAnotherKindListens) {
  const ScriptedHost other(socketPath().toStdString());
  EXPECT_EQ(host_.run({samplePath()}), 1);
  EXPECT_TRUE(QFileInfo::exists(socketPath()));
}

TEST_F(Starting, LeavesTheSocketToAHostThatIsTooBusyToAccept) {
  const ScriptedHost other(socketPath().toStdString());
  const Crowd crowd(socketPath().toStdString());
  EXPECT_EQ(host_.run({samplePath()}), 1);
  EXPECT_EQ(host_.standardError(),
            QStringLiteral("orvane-devhost: another host already serves %1\n").arg(socketPath()).toUtf8());
  EXPECT_TRUE(QFileInfo::exists(socketPath()));
}

TEST_F(Starting, LeavesEverythingThatIsNoSocket) {
  const QString file = folder_.write("precious.txt", "precious");
  ASSERT_TRUE(QFile::link(folder_.path("nowhere"), folder_.path("link")));
  ASSERT_TRUE(QDir(folder_.path()).mkdir("folder"));
  for (const char* name : {"precious.txt", "link", "folder"}) {
    DevhostProcess host(folder_.path());
    EXPECT_EQ(host.run({"--service", name, samplePath()}), 1);
    EXPECT_EQ(host.standardError(),
              QStringLiteral("orvane-devhost: cannot serve %1: there is something else than a socket\n")
                  .arg(folder_.path(name))
                  .toUtf8());
  }
  EXPECT_EQ(readFile(file), "precious");
  EXPECT_TRUE(QFileInfo(folder_.path("link")).isSymLink());
  EXPECT_TRUE(QFileInfo(folder_.path("folder")).isDir());
}

TEST_F(Starting, TakesNoPathForAName) {
  const QString file = folder_.write("precious.txt", "precious");
  for (const QString& name : {file, QStringLiteral("./precious.txt"), QStringLiteral("/"), QString("")}) {
    DevhostProcess host(folder_.path());
    EXPECT_EQ(host.run({"--service", name, samplePath()}), 2) << qPrintable(name);
    EXPECT_EQ(host.standardError(),
              QStringLiteral("orvane-devhost: --service takes the name of a service, not \"%1\"\n")
                  .arg(name)
                  .toUtf8());
  }
  EXPECT_EQ(readFile(file), "precious");
}

TEST_F(Starting, EndsWithStatusTwoAndOneLineForWhatItCannotOpen) {
  const QString missing = folder_.path("missing");
  const QString text = folder_.write("text", "This is no executable.\n");
  const QString empty = folder_.write("empty", "");
  struct Row {
    QStringList arguments;
    QString error;
  };
  const Row rows[] = {
      {{missing}, missing + ": cannot be read (No such file or directory)"},
      {{samplePath(), missing}, missing + ": cannot be read (No such file or directory)"},
      {{folder_.path()}, folder_.path() + ": is no regular file"},
      {{text}, text + ": is no ELF, PE or Mach-O file that can be read"},
      {{empty}, empty + ": is no ELF, PE or Mach-O file that can be read"},
      {{}, "no FILE is given; see --help"},
      {{"--sing", samplePath()}, "Unknown option 'sing'."},
      {{"-x"}, "Unknown option 'x'."},
      {{"--help-all"}, "Unknown option 'help-all'."},
      {{"--service"}, "Missing value after '--service'."},
  };
  for (const Row& row : rows) {
    DevhostProcess host(folder_.path());
    EXPECT_EQ(host.run(row.arguments), 2) << qPrintable(row.error);
    EXPECT_EQ(host.standardError(), "orvane-devhost: " + row.error.toUtf8() + "\n");
    EXPECT_EQ(host.standardOutput(), QByteArray());
  }
}

TEST_F(Starting, SaysInItsHelpThatNothingIsKept) {
  EXPECT_EQ(host_.run({"--help"}), 0);
  const std::string help = host_.standardOutput().toStdString();
  EXPECT_NE(help.find("Usage:"), std::string::npos) << help;
  EXPECT_NE(help.find("FILE..."), std::string::npos) << help;
  EXPECT_NE(help.find("kept in memory only"), std::string::npos) << help;
}

}  // namespace
