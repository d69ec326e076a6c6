#include "Support/TempSupportFolder.h"

namespace tavrik::test {

TempSupportFolder::TempSupportFolder()
    : m_previous(qgetenv("XDG_DATA_HOME")),
      m_hadPrevious(qEnvironmentVariableIsSet("XDG_DATA_HOME")) {
    qputenv("XDG_DATA_HOME", m_dir.path().toUtf8());
}

TempSupportFolder::~TempSupportFolder() {
    if (m_hadPrevious)
        qputenv("XDG_DATA_HOME", m_previous);
    else
        qunsetenv("XDG_DATA_HOME");
}

} // namespace tavrik::test
