#pragma once

class QNetworkAccessManager;

namespace tavrik {

// The process-wide HTTP session every remote service sends with, made on first use and owned by
// the application object. Main thread only: Qt's network manager serves the thread it lives on.
QNetworkAccessManager* sharedNetworkSession();

} // namespace tavrik
