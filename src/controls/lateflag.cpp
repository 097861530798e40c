#include "controls/lateflag.h"

#include "model/publish.h"

#include <algorithm>

LateFlag::LateFlag(QObject *parent)
    : QObject(parent)
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(300);
    connect(&m_timer, &QTimer::timeout, this, [this] { setValue(true); });
}

void LateFlag::setInput(bool input)
{
    if (!publish(this, m_input, input, &LateFlag::inputChanged))
        return;
    if (!input) {
        m_timer.stop();
        setValue(false);
    } else if (m_timer.interval() <= 0) {
        setValue(true);
    } else {
        m_timer.start();
    }
}

void LateFlag::setAfter(int after)
{
    if (after == m_timer.interval())
        return;
    m_timer.setInterval(std::max(after, 0));
    emit afterChanged();
}

void LateFlag::setValue(bool value)
{
    publish(this, m_value, value, &LateFlag::valueChanged);
}
