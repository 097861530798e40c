#include "controls/readingorder.h"

#include <algorithm>

void ReadingOrder::setView(QQuickItem *view)
{
    if (m_view == view)
        return;
    disconnect(m_children);
    m_view = view;
    if (auto *content = view ? view->property("contentItem").value<QQuickItem *>() : nullptr)
        m_children = connect(content, &QQuickItem::childrenChanged, this, &ReadingOrder::schedule);
    schedule();
    emit viewChanged();
}

// Once the list has made all it makes in one go, rather than once for each item.
void ReadingOrder::schedule()
{
    if (m_scheduled)
        return;
    m_scheduled = true;
    QMetaObject::invokeMethod(this, &ReadingOrder::arrange, Qt::QueuedConnection);
}

void ReadingOrder::arrange()
{
    m_scheduled = false;
    if (!m_view)
        return;
    auto *content = m_view->property("contentItem").value<QQuickItem *>();
    if (!content)
        return;
    auto *header = m_view->property("headerItem").value<QQuickItem *>();
    auto *footer = m_view->property("footerItem").value<QQuickItem *>();

    QList<QQuickItem *> entries;
    for (QQuickItem *child : content->childItems()) {
        if (child != header && child != footer && child->property("index").isValid())
            entries.append(child);
    }
    std::ranges::stable_sort(entries, {}, [](QQuickItem *item) { return item->property("index").toInt(); });

    QList<QQuickItem *> ordered;
    if (header)
        ordered.append(header);
    ordered.append(entries);
    if (footer)
        ordered.append(footer);
    for (qsizetype i = 1; i < ordered.size(); ++i) {
        const QList<QQuickItem *> now = content->childItems();
        if (now.indexOf(ordered[i]) != now.indexOf(ordered[i - 1]) + 1)
            ordered[i]->stackAfter(ordered[i - 1]);
    }
}
