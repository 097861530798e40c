#pragma once

#include <QByteArray>
#include <QString>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

// The text with its control characters escaped, so that it prints whole on one line.
inline QByteArray printable(const QString &text)
{
    QByteArray out;
    for (const QChar c : text) {
        if (c.unicode() < 0x20 || c.unicode() == 0x7f)
            out += "\\x" + QByteArray::number(c.unicode(), 16);
        else
            out += QString(c).toUtf8();
    }
    return out;
}

// A broken invariant is a crash for libFuzzer: it keeps the input that caused it.
#define FUZZ_CHECK(condition, detail)                                                                        \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            std::fprintf(stderr, "invariant broken: %s (%s)\n", #condition, printable(detail).constData());  \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (false)

// What the C library's printf writes, the oracle for fixed figures: a fuzz target sets no locale,
// so it runs in "C".
[[gnu::format(printf, 1, 2)]] inline QString cPrintf(const char *format, ...)
{
    char text[1024];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return length >= 0 && size_t(length) < sizeof text ? QString::fromUtf8(text, length) : QString();
}

inline QByteArray bytes(const uint8_t *data, size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
}
