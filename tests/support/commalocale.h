#pragma once

#include <QByteArray>

#include <clocale>

// For one scope, the C library reads and writes numbers as under a comma-decimal region, as a Qt
// application's does once it has taken such a region from the environment. Texts that must not
// follow the region are checked inside it even when the suite itself runs under "C".
class CommaLocale
{
public:
    CommaLocale()
        : m_saved(std::setlocale(LC_NUMERIC, nullptr))
        , m_active(std::setlocale(LC_NUMERIC, "de_DE.UTF-8") != nullptr)
    {}
    ~CommaLocale() { std::setlocale(LC_NUMERIC, m_saved.constData()); }
    CommaLocale(const CommaLocale &) = delete;
    CommaLocale &operator=(const CommaLocale &) = delete;

    // False when the locale is not installed (Debian's locales-all provides it).
    bool active() const { return m_active; }

private:
    QByteArray m_saved;
    bool m_active;
};
