// A map from a key to an object pointer that locks itself.
//
//     TObjectMap<ulong32, void*> engines(8);
//     engines.add(GetCurrentThreadId(), engine);
//     void* found = nullptr;
//     if (engines.find(GetCurrentThreadId(), &found))
//         ...
#pragma once

#include <zmu/foundation/Export.h>
#include <zmu/foundation/Mutex.h>
#include <zmu/foundation/Types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <type_traits>
#include <unordered_map>

namespace zmu {

/// Hash of a key by the low 32 bits of its value, taken as signed: one step of the minimal standard
/// random generator. Ranges over 0 to 0x7FFFFFFE, and 0 gives 0.
struct ObjectKeyHash {
    std::size_t operator()(std::int32_t key) const
    {
        const std::int32_t quotient = key / 127773;
        const std::int32_t remainder = key % 127773;
        // Quotient and remainder share their sign, so the difference stays within 32 bits.
        const std::int32_t hash = 16807 * remainder - 2836 * quotient;
        return static_cast<std::size_t>(hash < 0 ? hash + 0x7FFFFFFF : hash);
    }
};

/// A number, from 1, that it has given to nobody in the process before. From any thread.
ZMU_API u64 nextObjectMapState();

} // namespace zmu

/// Maps integer keys of 32 or 64 bits, which count by their low 32 bits, to values of type V. The
/// values are not owned: whoever put a pointer in deletes what it points to.
///
/// Each operation is atomic and may be called from any thread. The lock guards the map only, not
/// what a value that was found points to.
template <class K, class V>
class TObjectMap {
    static_assert(std::is_integral_v<K> && sizeof(K) >= 4, "keys are integers of 32 or 64 bits");

  public:
    /// Most buckets that a table has, far more than a machine can have threads.
    static constexpr zmu::ulong32 maxBuckets = 4194304;

    /// Builds a table of at least `bucketCount` buckets: the next power of two, 8 or more. Throws
    /// std::out_of_range when that is above `maxBuckets`, std::bad_alloc when memory is short.
    explicit TObjectMap(zmu::ulong32 bucketCount)
    {
        m_map.max_load_factor(maxLoad);
        zmu::ulong32 count = minBuckets;
        while (count < bucketCount && count < maxBuckets)
            count *= 2;
        if (count < bucketCount)
            throw std::out_of_range("invalid hash bucket count");
        rebuild(count);
    }

    virtual ~TObjectMap() { removeAll(); }
    TObjectMap(const TObjectMap&) = delete;
    TObjectMap& operator=(const TObjectMap&) = delete;

    /// Puts `value` under `key`, in place of any value there. Always true; when memory is short
    /// std::bad_alloc leaves it, and the map is as before.
    bool add(const K& key, const V& value)
    {
        Synchronized guard(m_mutex);
        const auto entry = m_map.find(hashed(key));
        if (entry != m_map.end()) {
            entry->second = value;
            noteChange();
            return true;
        }
        // The table grows before the insertion, so that a failure to grow leaves no entry behind.
        growFor(m_map.size() + 1);
        m_map.emplace(hashed(key), value);
        noteChange();
        return true;
    }

    /// Whether `key` is present; if so `*value` receives its value, unless `value` is null. An
    /// absent key leaves `*value` alone.
    bool find(const K& key, V* value)
    {
        Synchronized guard(m_mutex);
        const auto entry = m_map.find(hashed(key));
        if (entry == m_map.end())
            return false;
        if (value)
            *value = entry->second;
        return true;
    }

    /// Takes `key` out; otherwise as find().
    bool remove(const K& key, V* value)
    {
        Synchronized guard(m_mutex);
        const auto entry = m_map.find(hashed(key));
        if (entry == m_map.end())
            return false;
        if (value)
            *value = entry->second;
        m_map.erase(entry);
        noteChange();
        return true;
    }

    /// Forgets all entries. The table keeps its size.
    void removeAll()
    {
        Synchronized guard(m_mutex);
        m_map.clear();
        noteChange();
    }

    /// Another number, from 1, with each entry that comes, goes or gets another value, and none
    /// that any other map has had: as long as it is the same, what was found is still there. Takes
    /// no lock.
    zmu::u64 state() const { return m_state.load(std::memory_order_relaxed); }

    /// Takes the map's lock for a walk; the holder may call all other operations.
    void lock() { m_mutex.lock(); }
    /// The same if that needs no waiting. Whether it was taken.
    bool tryLock() { return m_mutex.tryLock(); }
    /// Releases the lock taken by lock().
    void unlock() { m_mutex.unlock(); }

    /// Buckets that the table was last built for: a power of two from 8 to `maxBuckets`. The
    /// container below may round it up to a size that suits it better.
    zmu::ulong32 bucketCount()
    {
        Synchronized guard(m_mutex);
        return m_bucketCount;
    }

  private:
    static constexpr zmu::ulong32 minBuckets = 8;
    static constexpr float maxLoad = 4.0F;
    static constexpr int doublingsOfGrowth = 3;

    using Table = std::unordered_map<std::int32_t, V, zmu::ObjectKeyHash>;

    static std::int32_t hashed(const K& key) { return static_cast<std::int32_t>(key); }

    static bool isOverloaded(std::size_t entries, zmu::ulong32 buckets)
    {
        return static_cast<double>(entries) / buckets > maxLoad;
    }

    void growFor(std::size_t entries)
    {
        if (!isOverloaded(entries, m_bucketCount) || m_bucketCount >= maxBuckets)
            return;
        zmu::ulong32 count = m_bucketCount;
        for (int i = 0; i < doublingsOfGrowth && count < maxBuckets; ++i)
            count *= 2;
        rebuild(count);
    }

    void noteChange() { m_state.store(zmu::nextObjectMapState(), std::memory_order_relaxed); }

    void rebuild(zmu::ulong32 count)
    {
        m_map.rehash(count);
        m_bucketCount = count;
    }

    Table m_map;
    Mutex m_mutex;
    std::atomic<zmu::u64> m_state = zmu::nextObjectMapState();
    zmu::ulong32 m_bucketCount = 0;

  public:
    /// Walks the map in no particular order.
    ///
    ///     for (TObjectMap<ulong32, void*>::Iterator it(map, true); !it.atEnd(); it.next())
    ///         use(it.value());
    ///
    /// While a walk lasts the entry it stands on must not be removed and nothing added; with
    /// `lockIt` other threads are kept from that, without it the caller has to see to it.
    class Iterator {
      public:
        /// Stands on the first entry. With `lockIt` the map's lock is held for the iterator's life.
        Iterator(TObjectMap& map, bool lockIt) : m_owner(&map), m_locked(lockIt)
        {
            if (m_locked)
                m_owner->lock();
            m_position = m_owner->m_map.begin();
        }
        ~Iterator()
        {
            if (m_locked)
                m_owner->unlock();
        }
        Iterator(const Iterator&) = delete;
        Iterator& operator=(const Iterator&) = delete;

        /// True past the last entry; value() and next() are for a walk that is not there.
        bool atEnd() const { return m_position == m_owner->m_map.end(); }
        V& value() { return m_position->second; }
        void next() { ++m_position; }

      private:
        TObjectMap* m_owner;
        typename Table::iterator m_position;
        bool m_locked;
    };
};
