#include "randomtext.h"

#include <QByteArray>
#include <QRandomGenerator>

#include <vector>

QString randomHex(int bytes)
{
    std::vector<quint32> words((bytes + 3) / 4);
    QRandomGenerator::system()->fillRange(words.data(), words.size());
    const QByteArray raw(reinterpret_cast<const char *>(words.data()), bytes);
    return QString::fromLatin1(raw.toHex());
}

QString randomCode(int length)
{
    static constexpr char alphabet[] = "ABCDEFGHJKMNPQRSTUVWXYZ23456789";
    constexpr int size = sizeof(alphabet) - 1;
    QString code;
    for (int i = 0; i < length; ++i)
        code.append(QChar::fromLatin1(alphabet[QRandomGenerator::system()->bounded(size)]));
    return code;
}

bool sameSecret(const QByteArray &a, const QByteArray &b)
{
    if (a.size() != b.size())
        return false;
    unsigned char difference = 0;
    for (qsizetype i = 0; i < a.size(); ++i)
        difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    return difference == 0;
}
