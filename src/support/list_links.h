// Circular doubly-linked lists whose links are embedded in the records. A head is a ListLinks too,
// and empty when it points to itself.
#pragma once

#include <cstddef>

namespace korvex {

struct ListLinks {
    ListLinks* next;
    ListLinks* previous;
};

// The record whose member `links` this is.
template <typename Record>
Record* RecordOf(ListLinks* links)
{
    return reinterpret_cast<Record*>(
        reinterpret_cast<unsigned char*>(links) - offsetof(Record, links));
}

// A head must be made empty before its first use.
inline void MakeEmptyList(ListLinks* head)
{
    head->next = head;
    head->previous = head;
}

// True when no record is in the list.
inline bool IsListEmpty(const ListLinks* head)
{
    return head->next == head;
}

// Appends a record, which is in no list.
inline void AppendToList(ListLinks* head, ListLinks* links)
{
    links->next = head;
    links->previous = head->previous;
    head->previous->next = links;
    head->previous = links;
}

// Takes a record out of the list that it is in; its links are null afterwards.
inline void RemoveFromList(ListLinks* links)
{
    links->previous->next = links->next;
    links->next->previous = links->previous;
    links->next = nullptr;
    links->previous = nullptr;
}

// The first record of the list for which `matches` returns true; null when there is none.
template <typename Record, typename Matches>
Record* FindInList(const ListLinks* head, Matches matches)
{
    for (ListLinks* links = head->next; links != head; links = links->next) {
        if (matches(RecordOf<Record>(links)))
            return RecordOf<Record>(links);
    }
    return nullptr;
}

} // namespace korvex
