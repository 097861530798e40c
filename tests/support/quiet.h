#pragma once

#include <QRegularExpression>
#include <QTest>

// The app prints nothing in a normal run; a warning from Qt or from us fails the test function.
// Call it from each test class's init().
inline void failOnAnyWarning()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}
