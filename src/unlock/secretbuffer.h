#pragma once

#include <QStringView>

#include <cstddef>

// What the owner typed, as UTF-8, in memory of its own: locked out of swap where the system
// allows it, left out of core dumps, and wiped when the buffer goes away. Move-only, so the
// bytes exist once.
class SecretBuffer
{
public:
    SecretBuffer() = default;
    explicit SecretBuffer(QStringView text);
    SecretBuffer(SecretBuffer &&other) noexcept;
    SecretBuffer &operator=(SecretBuffer &&other) noexcept;
    SecretBuffer(const SecretBuffer &) = delete;
    SecretBuffer &operator=(const SecretBuffer &) = delete;
    ~SecretBuffer();

    // NUL-terminated; null when empty.
    const char *data() const { return m_data; }
    std::size_t size() const { return m_size; }

private:
    void release() noexcept;

    char *m_data = nullptr;
    std::size_t m_capacity = 0;
    std::size_t m_size = 0;
};
