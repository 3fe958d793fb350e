// Circular doubly-linked lists whose links are embedded in the records. A head is a ListLinks too, and empty when it points to itself.
#pragma once

namespace korvex {

struct ListLinks {
    ListLinks* next;
    ListLinks* previous;
};

inline void MakeEmptyList(ListLinks* head)
{
    head->next = head;
    head->previous = head;
}

inline bool IsListEmpty(const ListLinks* head)
{
    return head->next == head;
}

inline void AppendToList(ListLinks* head, ListLinks* links)
{
    links->next = head;
    links->previous = head->previous;
    head->previous->next = links;
    head->previous = links;
}

inline void RemoveFromList(ListLinks* links)
{
    links->previous->next = links->next;
    links->next->previous = links->previous;
    links->next = nullptr;
    links->previous = nullptr;
}

// The first record of the list that matches, by the routines that give the record of its links and tell whether it does; null when none.
template <typename RecordOf, typename Matches>
auto FindInList(const ListLinks* head, RecordOf recordOf, Matches matches) -> decltype(recordOf(head->next))
{
    for (ListLinks* links = head->next; links != head; links = links->next) {
        if (matches(recordOf(links)))
            return recordOf(links);
    }
    return nullptr;
}

} // namespace korvex
