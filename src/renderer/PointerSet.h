// A set of addresses that is filled and emptied once a frame, without a heap allocation per entry.
// Never dereferences what it holds.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

// Open addressing with linear probing; a null slot is free. Null itself is never a member.
template <class T>
class PointerSet {
public:
    bool Contains(const T* entry) const { return m_slots[Find(entry)] == entry && entry; }
    // False when the entry was there already. Null: false.
    bool Insert(const T* entry) {
        std::size_t slot = Find(entry);
        if (!entry || m_slots[slot]) return false;
        if (2 * (m_count + 1) > m_slots.size()) {
            Resize(2 * m_slots.size());
            slot = Find(entry);
        }
        m_slots[slot] = entry;
        ++m_count;
        return true;
    }
    // Keeps the memory, unless most of it lay idle: emptying costs no more than filling did.
    void Clear() {
        if (m_slots.size() > kFewest && 8 * m_count < m_slots.size()) {
            m_slots.resize(m_slots.size() / 2);
        }
        std::fill(m_slots.begin(), m_slots.end(), nullptr);
        m_count = 0;
    }

private:
    static constexpr std::size_t kFewest = 64;

    std::vector<const T*> m_slots = std::vector<const T*>(kFewest);  // a power of two
    std::size_t m_count = 0;

    std::size_t Mask() const { return m_slots.size() - 1; }
    std::size_t Next(std::size_t slot) const { return (slot + 1) & Mask(); }
    // Heap addresses differ in their middle bits; a multiplication carries those to the top.
    std::size_t Home(const T* entry) const {
        const std::uint64_t address = reinterpret_cast<std::uintptr_t>(entry);
        return static_cast<std::size_t>(address * 0x9E3779B97F4A7C15U >> 32) & Mask();
    }
    // The slot of the entry, or the free one where it belongs.
    std::size_t Find(const T* entry) const {
        std::size_t slot = Home(entry);
        while (m_slots[slot] && m_slots[slot] != entry)
            slot = Next(slot);
        return slot;
    }
    void Resize(std::size_t size) {
        std::vector<const T*> old(size);
        old.swap(m_slots);
        for (const T* entry : old) {
            if (entry) m_slots[Find(entry)] = entry;
        }
    }
};
