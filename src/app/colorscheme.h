#pragma once

#include <QDBusConnection>
#include <QObject>

class QDBusVariant;

// The desktop's colour scheme, as its portal's settings tell it, followed while the program
// runs. Dark only when the desktop prefers dark; no preference, no portal, no bus or any error
// means light. Nothing is kept beyond the one flag, and nothing is printed.
class ColorScheme : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool dark READ dark NOTIFY darkChanged)

public:
    // On the session bus.
    explicit ColorScheme(QObject *parent = nullptr);
    ColorScheme(const QDBusConnection &bus, QObject *parent = nullptr);

    bool dark() const { return m_dark; }

signals:
    void darkChanged();

private slots:
    void settingChanged(const QString &group, const QString &key, const QDBusVariant &value);

private:
    void setDark(bool dark);

    QDBusConnection m_bus;
    bool m_dark = false;
    // A change signalled while the first read is under way is newer than its answer.
    bool m_changed = false;
};
