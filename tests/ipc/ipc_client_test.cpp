#include "ipc/ipc_client.h"

#include "ipc/external_api_service.h"
#include "support/elapsed.h"
#include "support/host_replies.h"
#include "support/scripted_host.h"
#include "support/temporary_folder.h"

#include <QByteArray>
#include <QJsonArray>
#include <QMetaObject>

#include <gtest/gtest.h>

#include <malloc.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace {

/// Far below the channel's shortest wait, and enough for a loaded machine.
constexpr auto kAtOnce = std::chrono::milliseconds(kReadWaitMs / 2);

/// A host in a socket folder of its own; clients are told of it by TMPDIR.
class IPCClientTest : public testing::Test {
 protected:
  IPCClientTest() : host_((qputenv("TMPDIR", folder_.path().c_str()), folder_.socketPath())) {}

  /// Runs the host's part beside the client's.
  void meanwhile(const std::function<void()>& hostPart, const std::function<void()>& clientPart) {
    std::thread thread(hostPart);
    clientPart();
    thread.join();
  }

  const TemporaryFolder folder_;
  ScriptedHost host_;
  QString error_;
};

TEST_F(IPCClientTest, ConnectsWhenItIsConstructed) {
  const IPCClient client;
  host_.accept();  // throws if nobody comes
}

TEST_F(IPCClientTest, SendsOneLineForEachNumberOfArguments) {
  IPCClient client;
  host_.accept();
  std::vector<std::string> lines;
  meanwhile(
      [&] {
        for (int i = 0; i < 3; ++i) {
          lines.push_back(host_.readLine());
          host_.reply(R"({"success":true,"result":"r"})");
        }
      },
      [&] {
        EXPECT_EQ(client.request("a:withReply:", error_), "r");
        EXPECT_EQ(client.request("b:withReply:", error_, QJsonValue("é\n")), "r");
        EXPECT_EQ(client.request("c:withReply:", error_, QJsonObject{{"k", "v"}}, QJsonValue(true)), "r");
      });
  EXPECT_EQ(lines, (std::vector<std::string>{R"({"args":[],"request":"a:withReply:"})",
                                             "{\"args\":[\"é\\n\"],\"request\":\"b:withReply:\"}",
                                             R"({"args":[{"k":"v"},true],"request":"c:withReply:"})"}));
  EXPECT_EQ(error_, "");
}

struct ReplyCase {
  const char* label;
  const char* body;
  QString text;
  QString error;
};

class IPCClientReply : public IPCClientTest, public testing::WithParamInterface<ReplyCase> {};

TEST_P(IPCClientReply, BecomesResultAndErrorText) {
  IPCClient client;
  host_.accept();
  QString text;
  meanwhile(
      [&] {
        host_.readLine();
        host_.reply(GetParam().body);
      },
      [&] { text = client.request("s", error_); });
  EXPECT_EQ(text, GetParam().text) << GetParam().label;
  EXPECT_FALSE(text.isNull()) << "empty, never null";
  EXPECT_EQ(error_, GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    All, IPCClientReply,
    testing::Values(
        ReplyCase{"an array", R"({"success":true,"result":[1, 2]})", "[1,2]", ""},
        ReplyCase{"an empty array", R"({"success":true,"result":[]})", "[]", ""},
        ReplyCase{"an object", R"({"success":true,"result":{"b":"é", "a":null}})", R"({"a":null,"b":"é"})",
                  ""},
        ReplyCase{"a string", R"({"success":true,"result":"\"quoted\""})", "\"quoted\"", ""},
        ReplyCase{"an empty string", R"({"success":true,"result":""})", "", ""},
        ReplyCase{"a number", R"({"success":true,"result":42})", "{}", ""},
        ReplyCase{"null", R"({"success":true,"result":null})", "{}", ""},
        ReplyCase{"a boolean", R"({"success":true,"result":false})", "{}", ""},
        ReplyCase{"no result", R"({"success":true})", "{}", ""},
        ReplyCase{"an error beside a success", R"({"success":true,"result":"r","error":"e"})", "r", ""},
        ReplyCase{"success as text", R"({"success":"true","result":"r"})", "", ""},
        ReplyCase{"success as a number", R"({"success":1,"result":"r","error":"e"})", "", "e"},
        ReplyCase{"success as null", R"({"success":null})", "", ""},
        ReplyCase{"no success", R"({"result":"r"})", "", ""},
        ReplyCase{"a failure", R"({"success":false,"error":"It is so.","result":"r"})", "", "It is so."},
        ReplyCase{"a failure with a number", R"({"success":false,"error":5})", "", ""},
        ReplyCase{"a failure without error", R"({"success":false})", "", ""},
        ReplyCase{"an empty object", "{}", "", ""}, ReplyCase{"an array for an envelope", "[true]", "", ""},
        ReplyCase{"no JSON", "success", "", ""},
        ReplyCase{"text behind the object", R"({"success":true,"result":"r"} x)", "", ""}));

TEST_F(IPCClientTest, LeavesTheErrorAloneOnSuccessAndReplacesItOnFailure) {
  IPCClient client;
  host_.accept();
  const auto errorAfter = [&](const std::string& reply) {
    error_ = "before";
    meanwhile(
        [&] {
          host_.readLine();
          host_.send(reply);
        },
        [&] { client.request("s", error_); });
    return error_;
  };
  EXPECT_EQ(errorAfter(ScriptedHost::framed(success("r"))), "before");
  EXPECT_EQ(errorAfter(ScriptedHost::framed(failure("It is so."))), "It is so.");
  EXPECT_EQ(errorAfter(ScriptedHost::framed(R"({"success":false})")), "");
  EXPECT_EQ(errorAfter(ScriptedHost::lengthField(0)), "");  // of the channel itself
}

TEST_F(IPCClientTest, ReadsNothingForLengthsOfZeroOrLess) {
  IPCClient client;
  host_.accept();
  for (const int length : {0, -1, std::numeric_limits<int>::min()}) {
    meanwhile(
        [&] {
          host_.readLine();
          host_.send(ScriptedHost::lengthField(length));
        },
        [&] { EXPECT_EQ(client.request("s", error_), ""); });
  }
  meanwhile(
      [&] {
        host_.readLine();
        host_.reply(R"({"success":true,"result":"in step"})");
      },
      [&] { EXPECT_EQ(client.request("s", error_), "in step"); });
}

TEST_F(IPCClientTest, ReadsALargeReplyThatComesInPieces) {
  const std::string text(40 * 1024 * 1024, 'x');
  IPCClient client;
  host_.accept();
  meanwhile(
      [&] {
        host_.readLine();
        const std::string reply = ScriptedHost::framed(R"({"success":true,"result":")" + text + "\"}");
        for (std::size_t at = 0; at < reply.size(); at += 999983) host_.send(reply.substr(at, 999983));
      },
      [&] { EXPECT_EQ(client.request("s", error_).toStdString(), text); });
}

/// A text of more bytes than the socket holds, and the request that carries it.
const QString kLargeText(4 * 1024 * 1024, u'x');
const std::string kLargeRequest = R"({"args":[")" + kLargeText.toStdString() + R"("],"request":"s"})";

TEST_F(IPCClientTest, SendsALargeRequestAsTheHostTakesIt) {
  IPCClient client;
  host_.accept();
  std::string line;
  meanwhile(
      [&] {
        line = host_.readLine();
        host_.reply(success("r"));
      },
      [&] { EXPECT_EQ(client.request("s", error_, kLargeText), "r"); });
  EXPECT_TRUE(line == kLargeRequest) << line.size() << " bytes";
}

TEST_F(IPCClientTest, DoesNotWaitUntilTheHostHasTakenARequestThatItAnswers) {
  IPCClient client;
  host_.accept();
  const Elapsed elapsed;
  meanwhile([&] { host_.reply(success("early")); },
            [&] { EXPECT_EQ(client.request("s", error_, kLargeText), "early"); });
  EXPECT_LT(elapsed.time(), kAtOnce);
  // The rest of it goes out before the next one.
  std::vector<std::string> lines;
  meanwhile(
      [&] {
        lines = {host_.readLine(), host_.readLine()};
        host_.reply(success("next"));
      },
      [&] { EXPECT_EQ(client.request("n", error_), "next"); });
  EXPECT_TRUE(lines[0] == kLargeRequest) << lines[0].size() << " bytes";
  EXPECT_EQ(lines[1], R"({"args":[],"request":"n"})");
}

TEST_F(IPCClientTest, TakesNoBodyThatIsCutOff) {
  // New memory holds blanks, which would make a whole body of the beginning of one.
  ::mallopt(M_PERTURB, 0xFF ^ ' ');
  IPCClient client;
  host_.accept();
  meanwhile(
      [&] {
        host_.readLine();
        host_.send(ScriptedHost::lengthField(100000) + success("good"));
        host_.close();
      },
      [&] { EXPECT_EQ(client.request("s", error_), ""); });
  ::mallopt(M_PERTURB, 0);
}

TEST_F(IPCClientTest, ReadsSurplusBytesAsTheNextReply) {
  IPCClient client;
  host_.accept();
  meanwhile(
      [&] {
        host_.readLine();
        host_.send(ScriptedHost::framed(R"({"success":true,"result":"1"})") +
                   ScriptedHost::framed(R"({"success":true,"result":"2"})"));
        host_.readLine();
        host_.reply(R"({"success":true,"result":"3"})");
      },
      [&] {
        EXPECT_EQ(client.request("s", error_), "1");
        EXPECT_EQ(client.request("s", error_), "2");
      });
}

TEST_F(IPCClientTest, ClosesTheConnectionWhenItIsDestroyed) {
  {
    const IPCClient client;
    host_.accept();
  }
  host_.readLine();
  EXPECT_TRUE(host_.ended());
}

TEST(IPCClientWithoutHost, AnswersAtOnceWithEmptyTextsAndNeverConnects) {
  const TemporaryFolder folder;
  qputenv("TMPDIR", folder.path().c_str());
  IPCClient client;
  QString error;
  const Elapsed elapsed;
  EXPECT_EQ(client.request("s", error), "");
  EXPECT_LT(elapsed.time(), kAtOnce);
  ScriptedHost host(folder.socketPath());
  const QString texts[] = {client.request("s", error), client.request("s", error, QJsonValue("a")),
                           client.request("s", error, QJsonValue("a"), QJsonValue("b"))};
  for (const QString& text : texts) {
    EXPECT_EQ(text, "");
    EXPECT_FALSE(text.isNull());
  }
  EXPECT_EQ(error, "");
  EXPECT_LT(elapsed.time(), kAtOnce);
  EXPECT_EQ(host.refuseWaiting(), 0);
}

TEST_F(IPCClientTest, NeverConnectsAgain) {
  IPCClient client;
  host_.accept();
  host_.close();
  const Elapsed elapsed;
  EXPECT_EQ(client.request("s", error_), "");
  EXPECT_EQ(client.request("s", error_, QJsonValue("a")), "");
  EXPECT_EQ(client.request("s", error_, QJsonValue("a"), QJsonValue("b")), "");
  EXPECT_LT(elapsed.time(), kAtOnce);
  EXPECT_EQ(error_, "");
  EXPECT_EQ(host_.refuseWaiting(), 0);
  host_.stopListening();
  std::filesystem::remove(folder_.socketPath());
  ScriptedHost next(folder_.socketPath());
  EXPECT_EQ(client.request("s", error_), "");
  EXPECT_EQ(next.refuseWaiting(), 0);
}

TEST_F(IPCClientTest, TakesAReplyWholeThatIsCutAnywhere) {
  const std::string reply = ScriptedHost::framed(success("good"));
  IPCClient client;
  host_.accept();
  for (std::size_t cut = 0; cut <= reply.size(); ++cut) {
    meanwhile(
        [&] {
          host_.readLine();
          host_.send(reply.substr(0, cut));
          host_.waitUntilTaken();
          host_.send(reply.substr(cut));
        },
        [&] { EXPECT_EQ(client.request("s", error_), "good") << cut; });
  }
}

TEST(IPCClientClass, HidesThatItIsAQObjectAndAddsNothingToIt) {
  EXPECT_FALSE((std::is_convertible_v<IPCClient*, QObject*>));
  EXPECT_TRUE((std::is_base_of_v<QObject, IPCClient>));
  EXPECT_TRUE(std::is_default_constructible_v<IPCClient>);
  EXPECT_FALSE(std::is_copy_constructible_v<IPCClient>);
  const QMetaObject& meta = IPCClient::staticMetaObject;
  EXPECT_STREQ(meta.className(), "IPCClient");
  EXPECT_EQ(meta.superClass(), &QObject::staticMetaObject);
  EXPECT_EQ(meta.methodCount(), meta.methodOffset());
  EXPECT_EQ(meta.propertyCount(), meta.propertyOffset());
  EXPECT_EQ(meta.enumeratorCount(), meta.enumeratorOffset());
  EXPECT_EQ(meta.constructorCount(), 0);
}

TEST(IPCClientLimits, AreThirtyAndFiveSeconds) {
  EXPECT_EQ(kReplyWaitMs, 30000);
  EXPECT_EQ(kReadWaitMs, 5000);
}

TEST(ExternalApiServiceName, IsTheConfiguredOne) {
  EXPECT_EQ(kExternalApiServiceName, QLatin1StringView(ORVANE_EXTERNAL_API_SERVICE_NAME));
}

}  // namespace
