#ifndef VELM_LIST_H
#define VELM_LIST_H

#include "velm_error.h"
#include "velm_log_macros.h"

#include <algorithm>
#include <type_traits>
#include <vector>
#include <wx/debug.h>
#include <wx/dynarray.h>

namespace velm {

// A vector of items sorted by id, with a running maximum from which new ids are drawn.
//
// T is copyable, and its first field is its id, a long, which the list reads directly: by the name _id, where
// T makes the list a friend if that is private, else by its place, where T has no virtual operations. Ids in
// the list are at least 1 and strictly ascending. Not locked: a list belongs to its owner's thread.
template <typename T>
class VELM_API VELM_List {
  public:
    VELM_List() = default;
    VELM_List(VELM_List const &) = default;
    VELM_List & operator=(VELM_List const &) = default;
    virtual ~VELM_List() = default;

    // Gives an item whose id is -1 the highest id seen plus 1, in the caller's item too, then inserts it.
    virtual bool Add(T & item)
    {
        if (IdOf(item) == -1) {
            // Wraps behind the last id that a long can hold, which Insert then refuses.
            IdOf(item) = static_cast<long>(static_cast<unsigned long>(_max_id) + 1);
        }
        return Insert(item);
    }

    // Puts a copy of the item in its place. False, with an error line, when its id is below 1 or already in
    // the list. When the highest items were removed before, an id between the highest that remains and the
    // highest ever seen is not inserted although the result is true; look for the item to know.
    virtual bool Insert(T const & item)
    {
        long const id = IdOf(item);
        if (id < 1) {
            VELM_LOG_ERROR("%s: Adding item with invalid id=%ld", VELM_FUNCTION, id);
            return false;
        }
        if (id > _max_id || _items.empty()) {
            _max_id = id;
            _items.push_back(item);
            return true;
        }
        auto const place = LowerBound(id);
        if (place == _items.end()) {
            return true;
        }
        if (IdOf(*place) == id) {
            VELM_LOG_ERROR("%s: Item with id=%ld is already in the list", VELM_FUNCTION, id);
            return false;
        }
        _items.insert(place, item);
        return true;
    }

    // Removes all items and forgets the highest id.
    virtual void Clear()
    {
        _items.clear();
        _max_id = 0;
    }

    // False when the id isn't in the list. The highest id seen stays.
    virtual bool Remove(long id)
    {
        long const index = GetIndex(id);
        if (index < 0) {
            return false;
        }
        _items.erase(_items.begin() + index);
        return true;
    }

    unsigned int GetCount() const { return static_cast<unsigned int>(_items.size()); }
    bool IsEmpty() const { return _items.empty(); }

    // By position. A position out of range trips the assertion, and then reads outside the list.
    T & Get(unsigned int i)
    {
        wxASSERT(i < GetCount());
        return _items[i];
    }
    T const & Get(unsigned int i) const
    {
        wxASSERT(i < GetCount());
        return _items[i];
    }
    T & operator[](unsigned int i) { return Get(i); }
    T const & operator[](unsigned int i) const { return Get(i); }

    // Throws VELM_Error when the id isn't in the list.
    T & GetById(long id)
    {
        long const index = GetIndex(id);
        if (index < 0) {
            throw VELM_Error(wxString::Format("%s: Item with id=%ld not found", VELM_FUNCTION, id));
        }
        return _items[static_cast<std::size_t>(index)];
    }
    T const & GetById(long id) const { return const_cast<VELM_List *>(this)->GetById(id); }

    // Position of the item with the id, or -1.
    long GetIndex(long id) const
    {
        auto const place = const_cast<VELM_List *>(this)->LowerBound(id);
        return place != _items.end() && IdOf(*place) == id ? static_cast<long>(place - _items.begin()) : -1;
    }

    bool Contains(long id) const { return GetIndex(id) >= 0; }

    // Replaces the array's content by all ids, ascending.
    void GetIdList(wxArrayLong & ids) const
    {
        ids.clear();
        ids.reserve(_items.size());
        for (T const & item : _items) {
            ids.push_back(IdOf(item));
        }
    }

    // Keeps only the items whose id is also in the other list.
    void Intersection(VELM_List<T> const & other)
    {
        for (unsigned int i = 0; i < GetCount();) {
            long const id = IdOf(_items[i]);
            if (other.Contains(id) || !Remove(id)) {
                ++i;
            }
        }
    }

    // Adds the other list's items whose ids this list lacks.
    void Union(VELM_List<T> & other)
    {
        for (T & item : other._items) {
            if (!Contains(IdOf(item))) {
                Add(item);
            }
        }
    }

  protected:
    std::vector<T> _items; // ascending by id, no two with the same
    long _max_id = 0;      // highest id seen; doesn't fall when items go

  private:
    // An item's id, by the name that the library's own records give it, else as the first field by its place.
    template <typename Item>
    static auto NamedId(Item & item, int) -> decltype((item._id))
    {
        return item._id;
    }
    template <typename Item>
    static auto & NamedId(Item & item, long)
    {
        static_assert(!std::is_polymorphic_v<Item>, "the first field is the id");
        using Id = std::conditional_t<std::is_const_v<Item>, long const, long>;
        return *reinterpret_cast<Id *>(&item);
    }
    static long & IdOf(T & item) { return NamedId(item, 0); }
    static long const & IdOf(T const & item) { return NamedId(item, 0); }

    // The first item with at least this id.
    typename std::vector<T>::iterator LowerBound(long id)
    {
        return std::lower_bound(_items.begin(), _items.end(), id,
                                [](T const & item, long wanted) { return IdOf(item) < wanted; });
    }
};

} // namespace velm

#endif
