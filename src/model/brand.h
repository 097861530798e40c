#pragma once

#include <QColor>
#include <QObject>
#include <QtQml/qqmlregistration.h>

// The two brand colours. teal is also the accent of the whole window.
QColor navy();
QColor teal();

// The same colours for the views.
class Brand : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON
    Q_PROPERTY(QColor navy READ navyColour CONSTANT)
    Q_PROPERTY(QColor teal READ tealColour CONSTANT)

public:
    using QObject::QObject;
    static QColor navyColour() { return navy(); }
    static QColor tealColour() { return teal(); }
};
