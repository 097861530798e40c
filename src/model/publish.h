#pragma once

#include <QObject>
#include <QPointer>

#include <utility>

// The one way a store or presenter sets a published field: the value is always taken (a JSON 1
// replacing a 1.0 keeps what was received), and observers hear of it only when it compares
// different, so that a view writing back what it shows does not loop. True when it notified.
template<typename Object, typename Field, typename Value>
bool publish(Object *object, Field &field, Value &&value, void (Object::*changed)())
{
    const bool different = field != value;
    field = std::forward<Value>(value);
    if (different)
        emit(object->*changed)();
    return different;
}

// Makes `follower` follow `store` instead of the store it followed: its connections to the old
// one go, and `connectTo` makes those to the new one. False when it already followed `store`.
template<typename Store, typename Connect>
bool follow(QObject *follower, QPointer<Store> &followed, Store *store, Connect connectTo)
{
    if (followed == store)
        return false;
    if (followed)
        QObject::disconnect(followed, nullptr, follower, nullptr);
    followed = store;
    if (store)
        connectTo(store);
    return true;
}
