// Acting on a dialog from the event loop it runs, for tests of the Qt programs.
#pragma once

#include <QApplication>
#include <QTimer>
#include <QWidget>

#include <functional>
#include <utility>

namespace orvane::test {

// Acts once on a widget as soon as `find` answers one, looking from the event loop (a dialog's
// own loop included) every 20 ms for as long as this object lives. Scoped so that a test that
// fails before the widget shows leaves nothing behind that would act later, in another test, on
// what this one held.
class WhenShown {
public:
    WhenShown(std::function<QWidget*()> find, std::function<void(QWidget&)> act)
        : find_(std::move(find)), act_(std::move(act)) {
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            if (QWidget* widget = find_()) {
                timer_.stop();
                act_(*widget);
            }
        });
        timer_.start(20);
    }
    WhenShown(const WhenShown&) = delete;
    WhenShown& operator=(const WhenShown&) = delete;

private:
    std::function<QWidget*()> find_;
    std::function<void(QWidget&)> act_;
    QTimer timer_;
};

inline QWidget* activeModal() { return QApplication::activeModalWidget(); }

}  // namespace orvane::test
