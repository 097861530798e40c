#include "model/brand.h"

QColor navy()
{
    static const QColor colour = QColor::fromRgbF(0.0314f, 0.1686f, 0.298f, 1.0f);
    return colour;
}

QColor teal()
{
    static const QColor colour = QColor::fromRgbF(0.0f, 0.49f, 0.46f, 1.0f);
    return colour;
}
