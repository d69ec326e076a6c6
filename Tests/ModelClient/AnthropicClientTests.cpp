#include "Support/CoreApplication.h"
#include "Support/LocalHttpServer.h"
#include "Support/MessagesApi.h"
#include "Support/ScopedEnvironment.h"
#include "TavrikCore/Support/BoundedReply.h"
#include "TavrikCore/Synthesis/AnthropicClient.h"
#include "TavrikCore/Synthesis/Hosts.h"
#include "TavrikCore/Synthesis/ModelCall.h"

#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QNetworkAccessManager>
#include <QTcpServer>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <sys/resource.h>

using namespace tavrik;
using namespace tavrik::test;
using namespace std::chrono_literals;

namespace {

const QList<ContentBlock> kContent{ContentBlock::makeText("# Recorded task"),
                                   ContentBlock::makeImage("image/jpeg", "/9j/4AAQSkZJRg==")};

class AnthropicClientTest : public ::testing::Test {
protected:
    QCoreApplication* app = ensureCoreApplication();
    LocalHttpServer server;
    QNetworkAccessManager session;
    ScopedEnvironment modelHost{Hosts::modelApiVariable, server.baseUrl().toUtf8()};
    ScopedEnvironment webHost{Hosts::webVariable, server.baseUrl().toUtf8()};

    AnthropicClient withKey() const {
        return AnthropicClient(QStringLiteral("sk-ant-test"), "claude-opus-4-8", &session_());
    }
    AnthropicClient viaProxy() const {
        return AnthropicClient(std::nullopt, "claude-opus-4-8", &session_());
    }
    QNetworkAccessManager& session_() const { return const_cast<QNetworkAccessManager&>(session); }

    // Streams and collects every fragment the call announced.
    struct Streamed {
        std::unique_ptr<TextStreamCall> call;
        QStringList fragments;
    };
    Streamed stream(const AnthropicClient& client) {
        Streamed result;
        result.call.reset(client.streamText("system text", kContent, 4000));
        QObject::connect(
            result.call.get(), &TextStreamCall::delta,
            [&fragments = result.fragments](const QString& f) { fragments.append(f); });
        result.call->waitForFinished();
        return result;
    }
    std::unique_ptr<StructuredCall> structured(const AnthropicClient& client) {
        std::unique_ptr<StructuredCall> call(client.structuredCompletion(
            "structured system", kContent, QJsonObject{{"type", "object"}}, 16000));
        call->waitForFinished();
        return call;
    }
};

QStringList headerNames(const RecordedRequest& request) {
    QStringList names;
    for (const auto& header : request.headers)
        names.append(QString::fromLatin1(header.first).toLower());
    return names;
}

TEST_F(AnthropicClientTest, StreamsTextInPiecesAndSendsTheMessagesRequest) {
    const QStringList fragments{"---\nname: ", QString::fromUtf8("Caf\u00e9 \u2014 order"),
                                "\n---\n"};
    server.route(
        "POST", "/v1/messages",
        CannedResponse::eventStream(CannedResponse::split(messages::textStream(fragments), 13, 1)));
    Streamed result = stream(withKey());
    ASSERT_FALSE(result.call->error()) << result.call->error()->description().toStdString();
    EXPECT_EQ(result.call->text(), fragments.join(QString()));
    EXPECT_EQ(result.fragments, fragments);

    ASSERT_EQ(server.requestCount(), 1);
    const RecordedRequest request = server.requests().at(0);
    EXPECT_EQ(request.method, "POST");
    EXPECT_EQ(request.path, "/v1/messages");
    EXPECT_EQ(request.header("Content-Type"), "application/json");
    EXPECT_EQ(request.header("x-api-key"), "sk-ant-test");
    EXPECT_FALSE(request.hasHeader("x-tavrik-proxy"));
    EXPECT_FALSE(request.hasHeader("anthropic-beta"));
    EXPECT_EQ(request.header("anthropic-version"), "2023-06-01");
    const QStringList names = headerNames(request);
    EXPECT_LT(names.indexOf("content-type"), names.indexOf("x-api-key"));
    EXPECT_LT(names.indexOf("x-api-key"), names.indexOf("anthropic-version"));

    const QJsonObject body = request.json().object();
    EXPECT_EQ(body["model"].toString(), "claude-opus-4-8");
    EXPECT_EQ(body["max_tokens"].toInt(), 4000);
    EXPECT_EQ(body["system"].toString(), "system text");
    EXPECT_EQ(body["stream"], QJsonValue(true));
    EXPECT_FALSE(body.contains("thinking"));
    EXPECT_FALSE(body.contains("output_config"));
    const QJsonArray messages = body["messages"].toArray();
    ASSERT_EQ(messages.size(), 1);
    EXPECT_EQ(messages.at(0).toObject()["role"].toString(), "user");
    EXPECT_EQ(messages.at(0).toObject()["content"].toArray(),
              QJsonArray({QJsonObject{{"type", "text"}, {"text", "# Recorded task"}},
                          QJsonObject{{"type", "image"},
                                      {"source", QJsonObject{{"type", "base64"},
                                                             {"media_type", "image/jpeg"},
                                                             {"data", "/9j/4AAQSkZJRg=="}}}}}));
}

TEST_F(AnthropicClientTest, WithoutAKeyGoesThroughTheProxyWithTheClientToken) {
    server.route("POST", "/api/anthropic",
                 CannedResponse::json(200, messages::answer({messages::textBlock("{}")})));
    auto call = structured(viaProxy());
    ASSERT_FALSE(call->error());
    const RecordedRequest request = server.requests().at(0);
    EXPECT_EQ(request.path, "/api/anthropic");
    EXPECT_EQ(request.header("x-tavrik-proxy"), "tavrik_211670eae679f02e8d28a79023c39c20");
    EXPECT_FALSE(request.hasHeader("x-api-key"));
    const QStringList names = headerNames(request);
    EXPECT_LT(names.indexOf("content-type"), names.indexOf("x-tavrik-proxy"));
    EXPECT_LT(names.indexOf("x-tavrik-proxy"), names.indexOf("anthropic-version"));
}

TEST_F(AnthropicClientTest, StreamEndsWellWithoutMessageStopEvenAfterAnErrorEvent) {
    QByteArray ended = messages::textStream({"partial ", "answer"}, false);
    ended += "event: error\ndata: "
             "{\"type\":\"error\",\"error\":{\"type\":\"overloaded_error\",\"message\":"
             "\"Overloaded\"}}\n\n";
    server.route("POST", "/v1/messages",
                 CannedResponse::eventStream(CannedResponse::split(ended, 40)));
    Streamed result = stream(withKey());
    EXPECT_FALSE(result.call->error());
    EXPECT_EQ(result.call->text(), "partial answer");

    server.route("POST", "/v1/messages", CannedResponse::eventStream({}));
    Streamed empty = stream(withKey());
    EXPECT_FALSE(empty.call->error());
    EXPECT_EQ(empty.call->text(), "");
}

// A stream whose connection is lost is an error, never a half-written answer, whether Qt sees
// the close with the data or apart from it: a short Content-Length is caught by its length, a
// chunked body lost inside an event by the line it leaves unfinished (Qt 6.4 reports many such
// bodies as whole). A chunked stream lost exactly at the end of a line is not asserted: neither
// Qt nor the event stream can tell it from one that ended without message_stop.
TEST_F(AnthropicClientTest, AStreamCutByALostConnectionIsAFailureNotAnAnswer) {
    const QByteArray started = messages::textStream({"so far"}, false);
    const QByteArray unfinished = "data: {\"type\":\"content_block_delta\",\"delta\":{\"ty";

    CannedResponse shortOfItsLength = CannedResponse::text(200, started, "text/event-stream");
    shortOfItsLength.declaredLength = started.size() + 100;
    // A chunk announced and never finished, the close coming with it or after it.
    CannedResponse insideAChunk = CannedResponse::eventStream({{started, 0}});
    insideAChunk.rawTail = "40\r\n" + unfinished;
    insideAChunk.dropAtEnd = true;
    CannedResponse insideAChunkLater = insideAChunk;
    insideAChunkLater.dropAtEnd = false;
    insideAChunkLater.holdOpen = true;
    // Whole chunks, the last one ending inside a line, then the close with no last chunk.
    CannedResponse midLine = CannedResponse::eventStream({{started, 0}, {unfinished, 0}});
    midLine.dropAtEnd = true;
    // A body that ends properly inside a line is no more a whole stream.
    CannedResponse endedMidLine = CannedResponse::eventStream({{started, 0}, {unfinished, 0}});

    int round = 0;
    for (const CannedResponse& cut :
         {shortOfItsLength, insideAChunk, insideAChunkLater, midLine, endedMidLine}) {
        SCOPED_TRACE(++round);
        server.route("POST", "/v1/messages", cut);
        std::unique_ptr<TextStreamCall> call(withKey().streamText("s", kContent, 10));
        QObject::connect(call.get(), &TextStreamCall::delta, [&] { server.dropConnections(); });
        EXPECT_FALSE(call->waitForFinished());
        ASSERT_TRUE(call->error());
        EXPECT_EQ(call->error()->description(),
                  "The connection was lost before the answer was complete.");
        EXPECT_EQ(call->text(), "so far");
    }
}

TEST_F(AnthropicClientTest, StreamErrorStatusesCarryTheBodyLinesJoined) {
    server.route("POST", "/v1/messages",
                 CannedResponse::json(
                     529, "{\"type\":\"error\",\n\"error\":{\"type\":\"overloaded_error\",\r\n"
                          "\"message\":\"Overloaded\"}}\n"));
    Streamed result = stream(withKey());
    ASSERT_TRUE(result.call->error());
    EXPECT_EQ(
        result.call->error()->description(),
        "Anthropic API HTTP 529: {\"type\":\"error\",\"error\":{\"type\":\"overloaded_error\","
        "\"message\":\"Overloaded\"}}");
    EXPECT_TRUE(result.fragments.isEmpty());

    // An error status with an event-stream body is still an error, not text.
    server.route("POST", "/v1/messages",
                 CannedResponse::eventStream({{messages::textDelta("not text"), 0}}, 429));
    Streamed limited = stream(withKey());
    ASSERT_TRUE(limited.call->error());
    EXPECT_EQ(limited.call->error()->status(), 429);
    EXPECT_TRUE(limited.fragments.isEmpty());
}

TEST_F(AnthropicClientTest, CancellingFromADeltaStopsAtOnce) {
    server.route("POST", "/v1/messages",
                 CannedResponse::eventStream(
                     {{messages::textDelta("one"), 0},
                      {messages::textDelta("two") + messages::textDelta("three"), 50},
                      {messages::textDelta("four"), 2000}}));
    std::unique_ptr<TextStreamCall> call(withKey().streamText("s", kContent, 10));
    QStringList seen;
    QObject::connect(call.get(), &TextStreamCall::delta, [&](const QString& fragment) {
        seen.append(fragment);
        if (fragment == "two")
            call->cancel();
    });
    int finishedCount = 0;
    QObject::connect(call.get(), &ModelCall::finished, [&] { ++finishedCount; });
    call->waitForFinished();
    EXPECT_EQ(seen, QStringList({"one", "two"}));
    EXPECT_EQ(call->text(), "onetwo");
    ASSERT_TRUE(call->error());
    EXPECT_EQ(call->error()->kind(), ClientError::Kind::cancelled);
    EXPECT_EQ(finishedCount, 1);
}

TEST_F(AnthropicClientTest, NoAnswerEndsAtTheTimeout) {
    server.route("POST", "/v1/messages", CannedResponse::silence());
    AnthropicClient client = withKey();
    EXPECT_EQ(client.timeout(), 60s);
    client.setTimeout(300ms);
    QElapsedTimer clock;
    clock.start();
    Streamed result = stream(client);
    ASSERT_TRUE(result.call->error());
    EXPECT_EQ(result.call->error()->description(), "The request timed out.");
    EXPECT_GE(clock.elapsed(), 250);

    // A stream that stalls after its first event times out as well; the idle clock restarts
    // with every piece of data. (Gaps well inside the limit, for a loaded machine.)
    client.setTimeout(800ms);
    server.route("POST", "/v1/messages",
                 CannedResponse::eventStream({{messages::textDelta("a"), 0},
                                              {messages::textDelta("b"), 200},
                                              {messages::textDelta("c"), 5000}}));
    Streamed stalled = stream(client);
    ASSERT_TRUE(stalled.call->error());
    EXPECT_EQ(stalled.call->error()->kind(), ClientError::Kind::transport);
    EXPECT_EQ(stalled.fragments, QStringList({"a", "b"}));
}

TEST_F(AnthropicClientTest, UnreachableHostIsATransportError) {
    QTcpServer closed;
    ASSERT_TRUE(closed.listen(QHostAddress::LocalHost));
    const quint16 port = closed.serverPort();
    closed.close();
    ScopedEnvironment host(Hosts::modelApiVariable,
                           QByteArray("http://127.0.0.1:") + QByteArray::number(port));
    Streamed result = stream(withKey());
    ASSERT_TRUE(result.call->error());
    EXPECT_EQ(result.call->error()->kind(), ClientError::Kind::transport);
    EXPECT_TRUE(result.call->error()->description().startsWith("The network request failed: "));
}

TEST_F(AnthropicClientTest, StructuredCompletionSendsTheSchemaAndReturnsTheFirstText) {
    server.route("POST", "/v1/messages",
                 CannedResponse::json(200, messages::answer({messages::thinkingBlock("hmm"),
                                                             messages::textBlock(QString::fromUtf8(
                                                                 "{\"name\":\"Caf\u00e9\"}")),
                                                             messages::textBlock("second")})));
    auto call = structured(withKey());
    ASSERT_FALSE(call->error());
    EXPECT_EQ(call->answer(), QString::fromUtf8("{\"name\":\"Caf\u00e9\"}").toUtf8());

    const QJsonObject body = server.requests().at(0).json().object();
    EXPECT_EQ(body["max_tokens"].toInt(), 16000);
    EXPECT_EQ(body["system"].toString(), "structured system");
    EXPECT_FALSE(body.contains("stream"));
    EXPECT_EQ(body["thinking"].toObject(), QJsonObject({{"type", "adaptive"}}));
    EXPECT_EQ(body["output_config"].toObject(),
              QJsonObject({{"format", QJsonObject{{"type", "json_schema"},
                                                  {"schema", QJsonObject{{"type", "object"}}}}}}));
    EXPECT_EQ(body["messages"].toArray().at(0).toObject()["content"].toArray().size(), 2);
}

TEST_F(AnthropicClientTest, StructuredAnswersThatAreNotUsableGiveTheirDescriptions) {
    struct Case {
        CannedResponse response;
        QString description;
    };
    const QList<Case> cases{
        {CannedResponse::json(401,
                              messages::errorBody("authentication_error", "invalid x-api-key")),
         "Anthropic API HTTP 401: " +
             messages::errorBody("authentication_error", "invalid x-api-key")},
        {CannedResponse::text(429, "slow down"), "Anthropic API HTTP 429: slow down"},
        {CannedResponse::text(500, "bad \xff bytes"), "Anthropic API HTTP 500: "},
        {CannedResponse::json(200, messages::answer({}, "refusal")),
         "The model declined the request: no explanation"},
        {CannedResponse::json(
             200, messages::answer({messages::textBlock("I can't help with that.")}, "refusal")),
         "The model declined the request: I can't help with that."},
        {CannedResponse::json(200, messages::answer({messages::textBlock("{\"na")}, "max_tokens")),
         "The response was cut off (hit max_tokens)."},
        {CannedResponse::json(200, messages::answer({messages::thinkingBlock("only thinking")})),
         "The response contained no text content."},
        {CannedResponse::json(200, messages::answer({}, QString())),
         "The response contained no text content."},
    };
    for (const Case& c : cases) {
        server.route("POST", "/v1/messages", c.response);
        auto call = structured(withKey());
        ASSERT_TRUE(call->error()) << c.description.toStdString();
        EXPECT_EQ(call->error()->description(), c.description);
    }

    server.route("POST", "/v1/messages",
                 CannedResponse::text(200, "<html>Gateway says hi</html>", "text/html"));
    auto notJson = structured(withKey());
    ASSERT_TRUE(notJson->error());
    EXPECT_EQ(notJson->error()->kind(), ClientError::Kind::decoding);
    EXPECT_TRUE(
        notJson->error()->description().startsWith("The response could not be read: not JSON"));

    server.route("POST", "/v1/messages", CannedResponse::json(200, R"({"content":"text"})"));
    auto wrongShape = structured(withKey());
    ASSERT_TRUE(wrongShape->error());
    EXPECT_EQ(wrongShape->error()->description(),
              "The response could not be read: content: expected an array");
}

TEST_F(AnthropicClientTest, MCPRunContinuesPausedTurnsAndReportsToolCalls) {
    const QJsonArray firstContent{messages::textBlock("Looking up issues. "),
                                  messages::toolUseBlock("linear", "list_issues"),
                                  QJsonObject{{"type", "mcp_tool_result"},
                                              {"tool_use_id", "mcptoolu_01"},
                                              {"content", QJsonArray()}}};
    const QJsonArray secondContent{QJsonObject{{"type", "mcp_tool_use"}, {"name", 5}},
                                   messages::textBlock("Found 3.")};
    server.routeSequence("POST", "/v1/messages",
                         {CannedResponse::json(200, messages::answer(firstContent, "pause_turn")),
                          CannedResponse::json(200, messages::answer(secondContent, "end_turn"))});
    const QList<QJsonObject> connectors{QJsonObject{{"type", "url"},
                                                    {"url", "https://mcp.linear.app/mcp"},
                                                    {"name", "linear"},
                                                    {"authorization_token", "lin_tok"}}};
    const QList<MCPServer> servers{
        {"linear", "https://mcp.linear.app/mcp", {"com.linear"}, QString("lin_tok")}};
    std::unique_ptr<MCPRunCall> call(withKey().runWithMCP("Summarise my issues", servers, 2000, 5));
    QList<MCPToolCall> announced;
    QObject::connect(call.get(), &MCPRunCall::toolCall,
                     [&](const MCPToolCall& c) { announced.append(c); });
    ASSERT_TRUE(call->waitForFinished());
    const QList<MCPToolCall> expected{{"linear", "list_issues"}, {"tool", "tool"}};
    EXPECT_EQ(call->result().text, "Looking up issues. Found 3.");
    EXPECT_EQ(call->result().toolCalls, expected);
    EXPECT_EQ(announced, expected);

    const QList<RecordedRequest> requests = server.requests();
    ASSERT_EQ(requests.size(), 2);
    EXPECT_EQ(requests[0].header("anthropic-beta"), "mcp-client-2025-11-20");
    const QJsonObject first = requests[0].json().object();
    EXPECT_FALSE(first.contains("system"));
    EXPECT_FALSE(first.contains("stream"));
    EXPECT_EQ(first["thinking"].toObject(), QJsonObject({{"type", "adaptive"}}));
    EXPECT_EQ(first["mcp_servers"].toArray(), QJsonArray({connectors[0]}));
    EXPECT_EQ(first["messages"].toArray(),
              QJsonArray({QJsonObject{{"role", "user"}, {"content", "Summarise my issues"}}}));
    const QJsonArray secondMessages = requests[1].json().object()["messages"].toArray();
    ASSERT_EQ(secondMessages.size(), 2);
    EXPECT_EQ(secondMessages[1].toObject(),
              QJsonObject({{"role", "assistant"}, {"content", firstContent}}));
}

TEST_F(AnthropicClientTest, MCPRunLimitsAndFailures) {
    // No servers: no beta header and no server list.
    server.route("POST", "/v1/messages",
                 CannedResponse::json(200, messages::answer({messages::textBlock("hi")})));
    std::unique_ptr<MCPRunCall> plain(withKey().runWithMCP("hello", {}, 100, 3));
    ASSERT_TRUE(plain->waitForFinished());
    EXPECT_EQ(plain->result().text, "hi");
    EXPECT_FALSE(server.requests().at(0).hasHeader("anthropic-beta"));
    EXPECT_FALSE(server.requests().at(0).json().object().contains("mcp_servers"));

    std::unique_ptr<MCPRunCall> none(withKey().runWithMCP("hello", {}, 100, 0));
    ASSERT_TRUE(none->waitForFinished());
    EXPECT_EQ(none->result(), MCPRunResult{});
    EXPECT_EQ(server.requestCount(), 1);

    // Turns used up after a pause keep what was gathered.
    server.route(
        "POST", "/v1/messages",
        CannedResponse::json(200, messages::answer({messages::textBlock("step ")}, "pause_turn")));
    std::unique_ptr<MCPRunCall> paused(withKey().runWithMCP("go", {}, 100, 2));
    ASSERT_TRUE(paused->waitForFinished());
    EXPECT_EQ(paused->result().text, "step step ");
    EXPECT_EQ(server.requestCount(), 3);

    server.route(
        "POST", "/v1/messages",
        CannedResponse::json(200, messages::answer({messages::textBlock("Not that.")}, "refusal")));
    std::unique_ptr<MCPRunCall> refused(withKey().runWithMCP("go", {}, 100, 2));
    EXPECT_FALSE(refused->waitForFinished());
    EXPECT_EQ(refused->error()->description(), "The model declined the request: Not that.");

    server.route("POST", "/v1/messages", CannedResponse::json(200, "[1,2]"));
    std::unique_ptr<MCPRunCall> array(withKey().runWithMCP("go", {}, 100, 2));
    EXPECT_FALSE(array->waitForFinished());
    EXPECT_EQ(array->error()->kind(), ClientError::Kind::noTextContent);

    server.route("POST", "/v1/messages",
                 CannedResponse::json(529, messages::errorBody("overloaded_error", "Overloaded")));
    std::unique_ptr<MCPRunCall> overloaded(withKey().runWithMCP("go", {}, 100, 2));
    EXPECT_FALSE(overloaded->waitForFinished());
    EXPECT_EQ(overloaded->error()->status(), 529);
}

TEST_F(AnthropicClientTest, KeysAndTokensNeverFollowARedirectToAnotherOrigin) {
    LocalHttpServer elsewhere;
    elsewhere.route("POST", "/v1/messages",
                    CannedResponse::json(200, messages::answer({messages::textBlock("{}")})));
    const QString refused = "The server redirected to another host (%1); Tavrik did not follow it.";
    const QString otherPort = refused.arg(elsewhere.baseUrl());
    const QString otherName = refused.arg(QStringLiteral("http://localhost:%1").arg(server.port()));

    server.route("POST", "/v1/messages",
                 CannedResponse::redirect(elsewhere.url("/v1/messages").toEncoded()));
    server.route("POST", "/api/anthropic",
                 CannedResponse::redirect(elsewhere.url("/v1/messages").toEncoded(), 302));
    EXPECT_EQ(stream(withKey()).call->error()->description(), otherPort);
    EXPECT_EQ(structured(viaProxy())->error()->description(), otherPort);
    std::unique_ptr<MCPRunCall> run(withKey().runWithMCP("go", {}, 100, 2));
    EXPECT_FALSE(run->waitForFinished());
    EXPECT_EQ(run->error()->kind(), ClientError::Kind::redirected);
    EXPECT_EQ(run->error()->description(), otherPort);
    // The same port under another name is another origin too.
    server.route(
        "POST", "/v1/messages",
        CannedResponse::redirect(
            QStringLiteral("http://localhost:%1/v1/messages").arg(server.port()).toUtf8()));
    EXPECT_EQ(structured(withKey())->error()->description(), otherName);
    EXPECT_EQ(elsewhere.requestCount(), 0);

    // Within the origin a redirect is followed, key, body and all.
    server.route("POST", "/v1/messages", CannedResponse::redirect("/v1/moved"));
    server.route("POST", "/v1/moved",
                 CannedResponse::json(200, messages::answer({messages::textBlock("{\"a\":1}")})));
    auto moved = structured(withKey());
    ASSERT_FALSE(moved->error()) << moved->error()->description().toStdString();
    EXPECT_EQ(moved->answer(), "{\"a\":1}");
    const RecordedRequest followed = server.requests().last();
    EXPECT_EQ(followed.path, "/v1/moved");
    EXPECT_EQ(followed.header("x-api-key"), "sk-ant-test");
    EXPECT_EQ(followed.json().object()["system"].toString(), "structured system");
}

// AddressSanitizer keeps freed blocks in quarantine (256 MiB by default), so there the peak
// measures the sanitizer, not the client; the regular build's suite checks the bounds.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kPeakIsTheClients = false;
#elif defined(__has_feature)
constexpr bool kPeakIsTheClients = !__has_feature(address_sanitizer);
#else
constexpr bool kPeakIsTheClients = true;
#endif

long peakResidentKiB() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

// Answers of 2 GB, sent only as fast as they are read: each ends at its limit with a clear error
// (or, for an error status, with its start), and memory stays near where it was. Streams go
// first: they keep nothing, so the peak they leave is what Qt and the line reader hold.
TEST_F(AnthropicClientTest, HugeAnswersEndAtTheirLimits) {
    constexpr qint64 huge = 2'000'000'000;
    const long before = peakResidentKiB();
    QElapsedTimer clock;
    clock.start();

    // Short lines that never end the stream, then one line that never ends.
    server.route("POST", "/v1/messages",
                 CannedResponse::huge(QByteArray(": keep-alive\n").repeated(4096), huge, true));
    EXPECT_EQ(stream(withKey()).call->error(), ClientError::tooLarge());
    server.route("POST", "/v1/messages",
                 CannedResponse::huge(QByteArray(64 * 1024, 'x'), huge, true));
    EXPECT_EQ(stream(withKey()).call->error(), ClientError::tooLarge());
    const long streamed = peakResidentKiB();
    if (kPeakIsTheClients)
        EXPECT_LT(streamed - before, 16 * 1024) << "KiB of peak growth from the streams";

    server.route("POST", "/v1/messages",
                 CannedResponse::huge(QByteArray(64 * 1024, ' '), huge, false));
    EXPECT_EQ(structured(withKey())->error(), ClientError::tooLarge());
    EXPECT_EQ(ClientError::tooLarge().description(), "The server's answer was too large.");

    // The error body's limit ends inside the "é" of these three bytes.
    static_assert(BoundedReply::errorBodyLimit % 3 == 1);
    const QString pair = QString::fromUtf8("\u00e9a");
    CannedResponse failing = CannedResponse::huge(pair.toUtf8().repeated(333), huge, false);
    failing.status = 500;
    server.route("POST", "/v1/messages", failing);
    const auto failed = structured(withKey());
    ASSERT_TRUE(failed->error());
    EXPECT_EQ(failed->error()->status(), 500);
    EXPECT_EQ(failed->error()->text(),
              pair.repeated(BoundedReply::errorBodyLimit / 3) + QChar(0x2026));
    // A structured answer is kept up to its 8 MiB limit before it is refused.
    const long whole = peakResidentKiB();
    if (kPeakIsTheClients)
        EXPECT_LT(whole - before, 48 * 1024) << "KiB of peak growth from the whole answers";

    std::cout << "[ measured ] four 2 GB answers ended in " << clock.elapsed() << " ms; peak RSS "
              << before / 1024 << " MiB before, " << streamed / 1024 << " MiB after the streams, "
              << whole / 1024 << " MiB after the whole ones" << std::endl;
}

} // namespace
