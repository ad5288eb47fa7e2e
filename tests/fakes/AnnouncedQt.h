#ifndef FAKES_ANNOUNCEDQT_H
#define FAKES_ANNOUNCEDQT_H

#include <QCoreApplication>

/// For test programs that are built with ThreadSanitizer. QtCore is not instrumented, so the sanitizer does not see
/// that its mutexes, semaphores, posted events and moves between threads order what happens before and after them, and
/// would take every hand-over for a race. A program that is linked with this file's source announces them: its own
/// definitions of these operations go before those in QtCore, and call them. What Qt does not order is still reported.
///
/// This application object announces the delivery of events.
class AnnouncedApplication : public QCoreApplication {
public:
    using QCoreApplication::QCoreApplication;
    bool notify(QObject *receiver, QEvent *event) override;
};

#endif
