#pragma once

#include <QByteArray>
#include <QTemporaryDir>

namespace tavrik::test {

// Points XDG_DATA_HOME at a fresh temporary folder for the lifetime of the object, so stores
// work on real files without touching the user's library.
class TempSupportFolder {
public:
    TempSupportFolder();
    ~TempSupportFolder();
    TempSupportFolder(const TempSupportFolder&) = delete;
    TempSupportFolder& operator=(const TempSupportFolder&) = delete;

    QString path() const { return m_dir.path(); }

private:
    QTemporaryDir m_dir;
    QByteArray m_previous;
    bool m_hadPrevious = false;
};

} // namespace tavrik::test
