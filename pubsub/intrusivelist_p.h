// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "pubsub/stackobjects_p.h"

PELLIX_STACK_OBJECTS_BEGIN

namespace pellix::client {

template <typename Node> struct ListLinks
{
    Node *previous = nullptr;
    Node *next = nullptr;
};

// A doubly linked list through a member of its nodes: joining and leaving cost O(1) and no memory.
template <typename Node, ListLinks<Node> Node::*links> struct IntrusiveList
{
    Node *first = nullptr;
    Node *last = nullptr;

    void append(Node *node)
    {
        (node->*links) = {last, nullptr};
        (last ? (last->*links).next : first) = node;
        last = node;
    }

    void remove(Node *node)
    {
        const auto [previous, next] = node->*links;
        (previous ? (previous->*links).next : first) = next;
        (next ? (next->*links).previous : last) = previous;
        (node->*links) = {};
    }
};

/*
    An iteration during which the list may change in any way.

    The iterations in progress form a stack. The code that removes a node from the list calls
    leave(), which advances them, so each of them always points to an existing node; stop() ends
    them all. New nodes are appended to the list.
*/
template <typename Node, ListLinks<Node> Node::*links> class ListWalk
{
public:
    ListWalk(ListWalk *&stack, Node *first) : stack(&stack), outer(stack), following(first)
    {
        stack = this;
    }
    ListWalk(const ListWalk &) = delete;
    ListWalk &operator=(const ListWalk &) = delete;
    ~ListWalk()
    {
        if (stack)
            *stack = outer;
    }

    Node *peek() const { return following; }
    void advance() { following = (following->*links).next; }

    static void leave(ListWalk *stack, const Node *node)
    {
        for (ListWalk *walk = stack; walk; walk = walk->outer) {
            if (walk->following == node)
                walk->advance();
        }
    }

    ListWalk *enclosing() const { return outer; }

    static void stop(ListWalk *stack)
    {
        for (ListWalk *walk = stack; walk; walk = walk->outer) {
            walk->following = nullptr;
            walk->stack = nullptr; // the owner of the stack is being destroyed
        }
    }

private:
    ListWalk **stack;
    ListWalk *const outer;
    Node *following;
};

} // namespace pellix::client

PELLIX_STACK_OBJECTS_END
