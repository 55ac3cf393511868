// The host's field list of one element update. The store reads it and nothing more: it neither
// changes nor keeps any of it. The layout is the 32-bit host's own.
#ifndef HOST_KEBLIST_H
#define HOST_KEBLIST_H

struct KEBnode;

/// A doubly linked list of field values; field n is the n-th node from `listTop`, counted from 1.
struct KEBlist {
    KEBnode* listTop;                               ///< First node; null for an empty list.
    KEBnode* listBot;                               ///< Last node; null for an empty list.
    unsigned long elements;                         ///< Number of nodes, kept by the host. The store never consults it.
    int (*sortFunction)(const void*, const void*);  ///< The host's ordering callback.
    void (*defaultDeleteNodeFn)(void*);             ///< The host's node release callback.
    long dataLen;                                   ///< Length of a node's data in bytes, kept by the host.
    char bufId;                                     ///< The host's buffer identifier.
    char duplicates;                                ///< Host flag.
    char defaultAddNodePos;                         ///< Host flag.
    char magic;                                     ///< The host's check byte.
};

/// One node of a `KEBlist`.
struct KEBnode {
    KEBlist* ourList;   ///< The owning list.
    KEBnode* nextNode;  ///< Following node; null at the end.
    KEBnode* prevNode;  ///< Preceding node; null at the start.
    void* dataPtr;      ///< The field cell: any structure whose first member is the field's `const char*`.
};

#endif
