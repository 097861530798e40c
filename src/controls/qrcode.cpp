#include "controls/qrcode.h"

#include <QPainter>
#include <QQuickWindow>

#include <qrencode.h>

#include <algorithm>
#include <cmath>
#include <memory>

QrCode::QrCode(QQuickItem *parent)
    : QQuickPaintedItem(parent)
{
    // Hard module edges even where the item lands between device pixels.
    setAntialiasing(false);
    setSmooth(false);
}

void QrCode::setText(const QString &text)
{
    if (text == m_text)
        return;
    m_text = text;
    m_width = 0;
    m_dark.clear();
    const QByteArray bytes = text.toUtf8();
    // Bytes that are not alphanumeric go in as they are; case is kept.
    const std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        bytes.isEmpty() ? nullptr : QRcode_encodeString(bytes.constData(), 0, QR_ECLEVEL_M, QR_MODE_8, 1),
        QRcode_free);
    if (code) {
        m_width = code->width;
        m_dark.reserve(static_cast<std::size_t>(m_width) * m_width);
        // The lowest bit of each byte tells a dark module; the others are the encoder's notes.
        for (int i = 0; i < m_width * m_width; ++i)
            m_dark.push_back((code->data[i] & 1) != 0);
    }
    emit textChanged();
    update();
}

void QrCode::paint(QPainter *painter)
{
    const int side = modules();
    if (side == 0)
        return;
    const qreal ratio = window() ? window()->effectiveDevicePixelRatio() : 1.0;
    // Whole device pixels per module, so that every edge falls on a pixel boundary; the square
    // is centred in the item by whole device pixels too.
    const qreal extent = std::floor(std::min(width(), height()) * ratio);
    const int module = std::max(1, static_cast<int>(extent) / side);
    const qreal left = std::floor((width() * ratio - module * side) / 2);
    const qreal top = std::floor((height() * ratio - module * side) / 2);
    const auto rect = [&](qreal x, qreal y, qreal w, qreal h) {
        return QRectF(x / ratio, y / ratio, w / ratio, h / ratio);
    };
    painter->setRenderHint(QPainter::Antialiasing, false);
    // A reader looks for dark modules on a light field, whatever the window's colours.
    painter->fillRect(rect(left, top, module * side, module * side), Qt::white);
    for (int y = 0; y < m_width; ++y) {
        for (int x = 0; x < m_width;) {
            if (!m_dark[static_cast<std::size_t>(y) * m_width + x]) {
                ++x;
                continue;
            }
            // One rectangle per run of dark modules in a row.
            int end = x + 1;
            while (end < m_width && m_dark[static_cast<std::size_t>(y) * m_width + end])
                ++end;
            painter->fillRect(rect(left + (quietZone + x) * module, top + (quietZone + y) * module,
                                   (end - x) * module, module),
                              Qt::black);
            x = end;
        }
    }
}
