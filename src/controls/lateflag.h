#pragma once

#include <QObject>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

// A sign of work that turns on only once the work has gone on for `after` milliseconds, and off
// at once. Work that ends sooner never shows: a quick background check draws no frame, and a
// quick reply no flicker of a spinner.
class LateFlag : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool input READ input WRITE setInput NOTIFY inputChanged)
    Q_PROPERTY(int after READ after WRITE setAfter NOTIFY afterChanged)
    Q_PROPERTY(bool value READ value NOTIFY valueChanged)

public:
    explicit LateFlag(QObject *parent = nullptr);

    bool input() const { return m_input; }
    void setInput(bool input);
    int after() const { return m_timer.interval(); }
    void setAfter(int after);
    bool value() const { return m_value; }

signals:
    void inputChanged();
    void afterChanged();
    void valueChanged();

private:
    void setValue(bool value);

    bool m_input = false;
    bool m_value = false;
    QTimer m_timer;
};
