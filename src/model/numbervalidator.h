#pragma once

#include <QValidator>
#include <QtQml/qqmlregistration.h>

// Lets a text field hold only what numberFromText() reads, or a beginning of it while it is being
// typed: no blanks, no comma, no percent sign. Whether the number is in range stays the reader's
// caller's business.
class NumberValidator : public QValidator
{
    Q_OBJECT
    QML_ELEMENT

public:
    using QValidator::QValidator;

    State validate(QString &input, int &pos) const override;
};
