#include "TavrikCore/Support/NetworkSession.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QThread>

namespace tavrik {

QNetworkAccessManager* sharedNetworkSession() {
    static QPointer<QNetworkAccessManager> session;
    Q_ASSERT(!QCoreApplication::instance() ||
             QThread::currentThread() == QCoreApplication::instance()->thread());
    if (!session)
        session = new QNetworkAccessManager(QCoreApplication::instance());
    return session;
}

} // namespace tavrik
