#pragma once

#include <QByteArray>
#include <QString>

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

inline QByteArray bytes(const uint8_t *data, size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
}
