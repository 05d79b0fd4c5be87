#pragma once

#include <cstdint>
#include <vector>

#ifdef __linux__
#include <sys/mman.h>
#endif

/// Asks for large pages in memory that nothing was written to yet. Small ones, handed out one by
/// one, would take a third of the time of reading a large file.
inline void preferLargePages([[maybe_unused]] void *memory, [[maybe_unused]] std::size_t bytes)
{
#ifdef MADV_HUGEPAGE
    constexpr std::size_t pageSize = 4096, worthwhile = 4 << 20;
    const std::size_t toPageStart = -reinterpret_cast<std::uintptr_t>(memory) & (pageSize - 1);
    if (bytes >= worthwhile)
        madvise(static_cast<char *>(memory) + toPageStart, bytes - toPageStart, MADV_HUGEPAGE);
#endif
}

template <class Item> void reserveLarge(std::vector<Item> &items, std::size_t count)
{
    items.reserve(count);
    preferLargePages(items.data(), items.capacity() * sizeof(Item));
}
