#pragma once

#include <QCoroTask>

#include <utility>

// How many calls of one store operation are under way, for a flag the views show and disable the
// operation's control by. Calls may overlap; the flag is up while any of them runs.
class Running
{
public:
    bool any() const { return m_count > 0; }

    // Awaits `call` counted as under way. `changed` is called as the flag rises and falls;
    // `gone` tells, once the call has returned, that the store (and this count with it) went
    // away meanwhile, and then nothing here is touched.
    template<typename T, typename Changed, typename Gone>
    static QCoro::Task<T> around(Running &running, QCoro::Task<T> call, Changed changed, Gone gone)
    {
        if (running.m_count++ == 0)
            changed();
        if constexpr (std::is_void_v<T>) {
            co_await std::move(call);
            if (!gone() && --running.m_count == 0)
                changed();
        } else {
            T result = co_await std::move(call);
            if (!gone() && --running.m_count == 0)
                changed();
            co_return result;
        }
    }

private:
    int m_count = 0;
};
