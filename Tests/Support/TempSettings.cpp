#include "Support/TempSettings.h"

#include <QSettings>

namespace tavrik::test {

TempSettings::TempSettings() {
    qputenv("XDG_CONFIG_HOME", m_dir.path().toUtf8());
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_dir.path());
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_dir.path());
}

} // namespace tavrik::test
