#include "unlock/secretbuffer.h"

#include <QStringEncoder>

#include <string.h>
#include <sys/mman.h>
#include <utility>

SecretBuffer::SecretBuffer(QStringView text)
{
    if (text.isEmpty())
        return;
    // Encoded straight into the locked pages: no temporary copy of the secret is made.
    QStringEncoder encoder(QStringEncoder::Utf8);
    const std::size_t needed = std::size_t(encoder.requiredSpace(text.size())) + 1;
    void *pages = mmap(nullptr, needed, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED)
        return;
    // Both are best effort: a low RLIMIT_MEMLOCK must not stop the owner from authenticating.
    (void)mlock(pages, needed);
    (void)madvise(pages, needed, MADV_DONTDUMP);
    m_data = static_cast<char *>(pages);
    m_capacity = needed;
    char *end = encoder.appendToBuffer(m_data, text);
    m_size = std::size_t(end - m_data);
    *end = '\0';
}

SecretBuffer::SecretBuffer(SecretBuffer &&other) noexcept
    : m_data(std::exchange(other.m_data, nullptr))
    , m_capacity(std::exchange(other.m_capacity, 0))
    , m_size(std::exchange(other.m_size, 0))
{}

SecretBuffer &SecretBuffer::operator=(SecretBuffer &&other) noexcept
{
    if (this != &other) {
        release();
        m_data = std::exchange(other.m_data, nullptr);
        m_capacity = std::exchange(other.m_capacity, 0);
        m_size = std::exchange(other.m_size, 0);
    }
    return *this;
}

SecretBuffer::~SecretBuffer()
{
    release();
}

void SecretBuffer::release() noexcept
{
    if (!m_data)
        return;
    explicit_bzero(m_data, m_capacity);
    munlock(m_data, m_capacity);
    munmap(m_data, m_capacity);
    m_data = nullptr;
    m_capacity = 0;
    m_size = 0;
}
