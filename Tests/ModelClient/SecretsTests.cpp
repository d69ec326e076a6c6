#include "Support/ScopedEnvironment.h"
#include "Support/TempSupportFolder.h"
#include "TavrikCore/Storage/Paths.h"
#include "TavrikCore/Synthesis/Secrets.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>

using namespace tavrik;
using namespace tavrik::test;

namespace {

void writeKeyFile(const QByteArray& bytes) {
    QDir().mkpath(Paths::support());
    QFile file(Secrets::anthropicKeyFilePath());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

TEST(Secrets, EnvironmentFirstThenTheKeyFileEachTimeAfresh) {
    TempSupportFolder folder;
    EXPECT_EQ(Secrets::anthropicKeyFilePath(), folder.path() + "/Tavrik/anthropic_key.txt");
    ScopedEnvironment env = ScopedEnvironment::unset("ANTHROPIC_API_KEY");
    EXPECT_EQ(Secrets::anthropicAPIKey(), std::nullopt);
    EXPECT_FALSE(Secrets::hasAnthropicKey());

    writeKeyFile("  sk-ant-file\r\n\n");
    EXPECT_EQ(Secrets::anthropicAPIKey(), "sk-ant-file");
    {
        ScopedEnvironment set("ANTHROPIC_API_KEY", "\tsk-ant-env \n");
        EXPECT_EQ(Secrets::anthropicAPIKey(), "sk-ant-env");
    }
    {
        ScopedEnvironment blanks("ANTHROPIC_API_KEY", " \t\n ");
        EXPECT_EQ(Secrets::anthropicAPIKey(), "sk-ant-file");
    }
    writeKeyFile("sk-ant-replaced");
    EXPECT_EQ(Secrets::anthropicAPIKey(), "sk-ant-replaced");
    EXPECT_TRUE(Secrets::hasAnthropicKey());
}

TEST(Secrets, EmptyOrUndecodableKeyFilesMeanNoKey) {
    TempSupportFolder folder;
    ScopedEnvironment env = ScopedEnvironment::unset("ANTHROPIC_API_KEY");
    writeKeyFile(" \n\t");
    EXPECT_EQ(Secrets::anthropicAPIKey(), std::nullopt);
    writeKeyFile("sk-\xff\xfe");
    EXPECT_EQ(Secrets::anthropicAPIKey(), std::nullopt);
    QFile::remove(Secrets::anthropicKeyFilePath());
    QDir().mkpath(Secrets::anthropicKeyFilePath()); // a folder where the file should be
    EXPECT_EQ(Secrets::anthropicAPIKey(), std::nullopt);
}

} // namespace
