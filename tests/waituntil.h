#pragma once

// Waiting on the event loop, shared by the tests and benchmarks that drive
// real windows and pages.

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <functional>

namespace testwait {

// Runs the event loop until done() or ms have passed. Unlike QTest::qWaitFor
// it never sleeps: QtWebEngine moves each runJavaScript call through the GUI
// thread's loop, and a 10 ms sleep between turns makes 3,600 calls take 36 s.
inline bool waitUntil(const std::function<bool()> &done, int ms)
{
    QElapsedTimer elapsed;
    elapsed.start();
    QTimer wake; // lets the loop look at the clock and the predicate
    wake.start(10);
    while (!done()) {
        if (elapsed.elapsed() > ms)
            return done();
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

// Runs the event loop for ms, without sleeping: lets a page or a player go on
// for a while when there is nothing to wait for.
inline void runFor(int ms)
{
    waitUntil([] { return false; }, ms);
}

} // namespace testwait
