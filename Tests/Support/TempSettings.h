#pragma once

#include <QTemporaryDir>

namespace tavrik::test {

// Points the settings store (QSettings, user scope) at a fresh temporary folder, so tests never
// read or write the user's real settings. Later stores opened in the process keep using a
// temporary folder, never the user's.
class TempSettings {
public:
    TempSettings();
    TempSettings(const TempSettings&) = delete;
    TempSettings& operator=(const TempSettings&) = delete;

    QString path() const { return m_dir.path(); }

private:
    QTemporaryDir m_dir;
};

} // namespace tavrik::test
