#pragma once

#include <QRegularExpression>
#include <QTest>

// The app prints nothing in a normal run; a warning from Qt or from us fails the test function.
// Call it from each test class's init().
inline void failOnAnyWarning()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

// One data row on one line: addRow("name", a, b, c).
template<typename... T>
void addRow(const char *name, const T &...values)
{
    (QTest::newRow(name) << ... << values);
}
