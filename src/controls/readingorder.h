#pragma once

#include <QObject>
#include <QPointer>
#include <QQuickItem>
#include <QtQml/qqmlregistration.h>

// Tab and screen readers follow the order of an item's children, and a list view adds its
// header, footer and entries to its content in whatever order it makes them. This keeps the
// header first, the entries in the order of their `index` and the footer last.
class ReadingOrder : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QQuickItem *view READ view WRITE setView NOTIFY viewChanged)

public:
    using QObject::QObject;

    QQuickItem *view() const { return m_view; }
    void setView(QQuickItem *view);

signals:
    void viewChanged();

private:
    void schedule();
    void arrange();

    QPointer<QQuickItem> m_view;
    QMetaObject::Connection m_children;
    bool m_scheduled = false;
};
