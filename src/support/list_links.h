// Membership in a circular doubly-linked list whose links are embedded in the records.
#pragma once

namespace korvex {

struct ListLinks {
    ListLinks* next;
    ListLinks* previous;
};

} // namespace korvex
