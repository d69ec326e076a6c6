#include "Support/MessagesApi.h"
#include "TavrikCore/Synthesis/EventStreamReader.h"

#include <gtest/gtest.h>

using namespace tavrik;
namespace messages = tavrik::test::messages;

namespace {

struct Outcome {
    QStringList fragments;
    QString text;
    bool sawStop = false;
};

Outcome readInPieces(const QByteArray& stream, const QList<qsizetype>& cuts) {
    Outcome outcome;
    EventStreamReader reader([&](const QString& fragment) { outcome.fragments.append(fragment); });
    qsizetype at = 0;
    for (qsizetype cut : cuts) {
        reader.feed(QByteArrayView(stream).sliced(at, cut - at));
        at = cut;
    }
    reader.feed(QByteArrayView(stream).sliced(at));
    reader.finish();
    outcome.text = reader.text();
    outcome.sawStop = reader.sawMessageStop();
    return outcome;
}

// Multi-byte characters and escapes, so cuts land inside UTF-8 sequences and JSON escapes.
const QStringList kFragments{QString::fromUtf8("---\nname: Caf\u00e9 \u2014 "),
                             QString::fromUtf8("\u26A0\uFE0F \"q\" "), "\\ done"};

TEST(EventStreamReader, EveryCutOfARealisticStreamGivesTheSameText) {
    const QByteArray stream = messages::textStream(kFragments);
    const QString whole = kFragments.join(QString());
    for (qsizetype cut = 0; cut <= stream.size(); ++cut) {
        const Outcome outcome = readInPieces(stream, {cut});
        ASSERT_EQ(outcome.text, whole) << "cut at " << cut;
        ASSERT_EQ(outcome.fragments, kFragments) << "cut at " << cut;
        ASSERT_TRUE(outcome.sawStop);
    }
    QList<qsizetype> everyByte;
    for (qsizetype i = 1; i < stream.size(); ++i)
        everyByte.append(i);
    EXPECT_EQ(readInPieces(stream, everyByte).text, whole);
}

TEST(EventStreamReader, CarriageReturnLineEndsWorkAcrossReads) {
    QByteArray stream = messages::textStream({"a", "b"});
    stream.replace("\n", "\r\n");
    for (qsizetype cut = 0; cut <= stream.size(); ++cut)
        ASSERT_EQ(readInPieces(stream, {cut}).text, "ab") << "cut at " << cut;
    EXPECT_EQ(
        readInPieces(
            QByteArray("data: {\"type\":\"content_block_delta\",\"delta\":{\"type\":\"text_delta\","
                       "\"text\":\"x\"}}\rdata: {\"type\":\"message_stop\"}\r"),
            {})
            .text,
        "x");
}

TEST(EventStreamReader, SkipsWhatIsNotATextDeltaAndStopsAtMessageStop) {
    const QByteArray stream =
        ": keep-alive comment\n"
        "event: content_block_delta\n"
        "data:   \t \n"
        "data: [DONE]\n"
        "data: 42\n"
        "data: {\"type\":\"content_block_delta\",\"delta\":{\"type\":\"text_delta\"\n"
        "id: 7\n"
        "data:{\"type\":\"content_block_delta\",\"delta\":{\"type\":\"input_json_delta\","
        "\"partial_json\":\"{\"}}\n"
        "data: {\"type\":\"content_block_delta\",\"delta\":{\"type\":\"text_delta\",\"text\":7}}\n"
        "data:\t{\"type\":\"content_block_delta\",\"delta\":{\"type\":\"text_delta\","
        "\"text\":\"kept\"}}\t\n"
        "DATA: {\"type\":\"content_block_delta\",\"delta\":{\"type\":\"text_delta\","
        "\"text\":\"upper-case field\"}}\n"
        "event: error\n"
        "data: {\"type\":\"error\",\"error\":{\"type\":\"overloaded_error\",\"message\":"
        "\"Overloaded\"}}\n\n" +
        messages::textDelta(" too") + messages::event({{"type", "message_stop"}}) +
        messages::textDelta(" after the end");
    const Outcome outcome = readInPieces(stream, {});
    EXPECT_EQ(outcome.text, "kept too");
    EXPECT_EQ(outcome.fragments, QStringList({"kept", " too"}));
    EXPECT_TRUE(outcome.sawStop);
}

TEST(EventStreamReader, AStreamCutShortKeepsItsTextAndALastLineWithoutBreakCounts) {
    const QByteArray stream = messages::textStream({"one ", "two"}, false);
    Outcome outcome = readInPieces(stream, {});
    EXPECT_EQ(outcome.text, "one two");
    EXPECT_FALSE(outcome.sawStop);

    QByteArray lastLine = messages::textDelta("tail");
    lastLine.chop(2); // no line break at all at the end
    EXPECT_EQ(readInPieces(lastLine, {}).text, "tail");

    QByteArray midLine = messages::textDelta("whole") + messages::textDelta("never finished");
    midLine.chop(20);
    EXPECT_EQ(readInPieces(midLine, {}).text, "whole");
    EXPECT_EQ(readInPieces(QByteArray(), {}).text, "");
}

TEST(EventStreamReader, InvalidUtf8InADeltaNeverBreaksTheRest) {
    const QByteArray stream =
        messages::textDelta("before ") +
        "data: {\"type\":\"content_block_delta\",\"delta\":{\"type\":\"text_delta\","
        "\"text\":\"bad \xff\xfe bytes\"}}\n\n" +
        messages::textDelta("after");
    const Outcome outcome = readInPieces(stream, {});
    EXPECT_EQ(outcome.text, QString::fromUtf8("before bad \uFFFD\uFFFD bytesafter"));
}

TEST(EventStreamReader, AnOverlongLineStopsReadingWithoutHoldingIt) {
    QStringList seen;
    EventStreamReader reader([&](const QString& fragment) { seen.append(fragment); });
    const QByteArray junk(256 * 1024, 'x');
    reader.feed(messages::textDelta("before"));
    EXPECT_TRUE(reader.feed("data: " + junk.repeated(3)));
    EXPECT_FALSE(reader.feed(junk + "\n" + messages::textDelta("after")));
    reader.finish();
    EXPECT_TRUE(reader.lineTooLong());
    EXPECT_EQ(seen, QStringList({"before"}));

    // Exactly at the limit is still a line, split over reads or not.
    EventStreamReader whole;
    const QByteArray line = "data: " + QByteArray(EventStreamReader::maxLineBytes - 6, 'y');
    whole.feed(line.first(1000));
    EXPECT_TRUE(whole.feed(line.sliced(1000) + "\n" + messages::textDelta("next")));
    EXPECT_FALSE(whole.lineTooLong());
    EXPECT_EQ(whole.text(), "next");
}

TEST(EventStreamReader, StopFromTheHandlerEndsReadingAtOnce) {
    EventStreamReader* self = nullptr;
    QStringList seen;
    EventStreamReader reader([&](const QString& fragment) {
        seen.append(fragment);
        self->stop();
    });
    self = &reader;
    EXPECT_FALSE(reader.feed(messages::textStream({"first", "second"})));
    EXPECT_EQ(seen, QStringList({"first"}));
    EXPECT_EQ(reader.text(), "first");
    EXPECT_FALSE(reader.sawMessageStop());
}

} // namespace
