#include "TavrikCore/Support/SystemLog.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <cstring>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace tavrik;

// The program's log lines as a syslog daemon receives them: a datagram socket of our own stands
// in for /dev/log, and stderr is swapped for a pipe while a line is logged.
namespace {

class SyslogSocket {
public:
    explicit SyslogSocket(const QString& path) : m_path(path.toLocal8Bit()) {
        m_fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, m_path.constData(), size_t(m_path.size()));
        m_bound = ::bind(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    ~SyslogSocket() { ::close(m_fd); }
    bool bound() const { return m_bound; }

    // Every datagram that has arrived; the handler sends before the logging call returns.
    QList<QByteArray> received() {
        QList<QByteArray> all;
        pollfd ready{m_fd, POLLIN, 0};
        while (::poll(&ready, 1, 0) == 1) {
            char buffer[4096];
            const ssize_t n = ::recv(m_fd, buffer, sizeof buffer, 0);
            if (n < 0)
                break;
            all.append(QByteArray(buffer, int(n)));
        }
        return all;
    }

private:
    QByteArray m_path;
    int m_fd = -1;
    bool m_bound = false;
};

// Whatever is written to stderr while it lives.
class CapturedStderr {
public:
    CapturedStderr() {
        [[maybe_unused]] const int made = ::pipe(m_pipe);
        m_saved = ::dup(STDERR_FILENO);
        ::dup2(m_pipe[1], STDERR_FILENO);
    }
    ~CapturedStderr() { restore(); }
    QByteArray text() {
        restore();
        QByteArray all;
        char buffer[4096];
        ssize_t n;
        while ((n = ::read(m_pipe[0], buffer, sizeof buffer)) > 0)
            all.append(buffer, int(n));
        return all;
    }

private:
    void restore() {
        if (m_saved < 0)
            return;
        ::dup2(m_saved, STDERR_FILENO);
        ::close(m_saved);
        ::close(m_pipe[1]);
        m_saved = -1;
    }
    int m_pipe[2] = {-1, -1};
    int m_saved = -1;
};

class SystemLogTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(socket.bound()); }
    void TearDown() override { qInstallMessageHandler(nullptr); }

    QTemporaryDir folder;
    QString path = folder.path() + "/log";
    SyslogSocket socket{path};
};

const QRegularExpression
    kHeader(R"(^<(\d+)>[A-Z][a-z]{2} [ \d]\d \d\d:\d\d:\d\d tavrik\[(\d+)\]: (.*)$)",
            QRegularExpression::DotMatchesEverythingOption);

} // namespace

TEST_F(SystemLogTest, EachLineReachesTheSyslogSocketAsTavrikWithItsPriority) {
    SystemLog::install(path, false);
    CapturedStderr err;
    qWarning("Tavrik: could not save the recording: disk full");
    qInfo().noquote() << "nothing to open for Screen Recording\nsecond line";
    qInfo("%s", ""); // nothing to say, nothing sent
    EXPECT_TRUE(err.text().isEmpty()) << "not a terminal: stderr stays quiet";

    const QList<QByteArray> lines = socket.received();
    ASSERT_EQ(lines.size(), 3) << QByteArray(lines.join('|')).toStdString();
    const QList<QPair<int, QByteArray>> expected = {
        {8 + 4, "Tavrik: could not save the recording: disk full"}, // user facility, warning
        {8 + 6, "Tavrik: nothing to open for Screen Recording"},    // info, the prefix added
        {8 + 6, "Tavrik: second line"},                             // every line of it
    };
    for (int i = 0; i < 3; ++i) {
        const QRegularExpressionMatch match = kHeader.match(QString::fromUtf8(lines[i]));
        ASSERT_TRUE(match.hasMatch()) << lines[i].toStdString();
        EXPECT_EQ(match.captured(1).toInt(), expected[i].first);
        EXPECT_EQ(match.captured(2).toLongLong(), qint64(::getpid()));
        EXPECT_EQ(match.captured(3).toUtf8(), expected[i].second);
    }
}

TEST_F(SystemLogTest, FromATerminalTheSameLinesAlsoGoToStderr) {
    SystemLog::install(path, true);
    CapturedStderr err;
    qWarning().noquote() << "Tavrik: hotkeys unavailable: Control is taken";
    qDebug("x11: %d screens", 2);
    EXPECT_EQ(err.text(),
              "Tavrik: hotkeys unavailable: Control is taken\nTavrik: x11: 2 screens\n");
    const QList<QByteArray> lines = socket.received();
    ASSERT_EQ(lines.size(), 2);
    EXPECT_TRUE(lines[0].startsWith("<12>"));
    EXPECT_TRUE(lines[1].startsWith("<15>")); // debug
    EXPECT_TRUE(lines[1].endsWith("]: Tavrik: x11: 2 screens"));
}

TEST_F(SystemLogTest, WithoutASyslogDaemonLinesStillReachStderr) {
    SystemLog::install(folder.path() + "/nobody-listens", true);
    CapturedStderr err;
    qWarning("Tavrik: key frame not captured");
    EXPECT_EQ(err.text(), "Tavrik: key frame not captured\n");
    EXPECT_TRUE(socket.received().isEmpty());
}
