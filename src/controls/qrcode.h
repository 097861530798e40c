#pragma once

#include <QQuickPaintedItem>
#include <QString>
#include <QtQml/qqmlregistration.h>

#include <vector>

// A QR code of `text`, drawn as whole device pixels so that a camera reads it off any screen.
// Level M, with the quiet zone of four modules the standard asks for, inside the item's square.
// Nothing is drawn when the text is empty or too long for a QR code.
class QrCode : public QQuickPaintedItem
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString text READ text WRITE setText NOTIFY textChanged)

public:
    explicit QrCode(QQuickItem *parent = nullptr);

    const QString &text() const { return m_text; }
    void setText(const QString &text);

    void paint(QPainter *painter) override;

signals:
    void textChanged();

private:
    static constexpr int quietZone = 4;
    // Modules a side, the quiet zone included; 0 when nothing is drawn.
    int modules() const { return m_width > 0 ? m_width + 2 * quietZone : 0; }

    QString m_text;
    int m_width = 0;          // modules a side, without the quiet zone
    std::vector<bool> m_dark; // row by row
};
