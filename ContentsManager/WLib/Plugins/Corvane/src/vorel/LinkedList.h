// A list through its elements, which asks for no memory and so can neither fail nor cost more with every element.
#pragma once

namespace W::vorel {

/// What an element holds for the list that it is in.
template <class Element>
struct Link {
    Element* previous = nullptr;
    Element* next = nullptr;
};

/// A doubly linked list through the member `link` of its elements. Owns nothing.  [one thread at a time]
template <class Element, Link<Element> Element::*link>
class LinkedList {
public:
    LinkedList() = default;
    LinkedList(const LinkedList&) = delete;
    LinkedList& operator=(const LinkedList&) = delete;

    Element* front() const { return m_first; }
    Element* back() const { return m_last; }
    static Element* next(const Element* element) { return (element->*link).next; }
    static Element* previous(const Element* element) { return (element->*link).previous; }

    /// @param element  in no list
    void append(Element* element)
    {
        element->*link = {m_last, nullptr};
        (m_last != nullptr ? (m_last->*link).next : m_first) = element;
        m_last = element;
    }

    /// @param element  in this list
    void remove(Element* element)
    {
        const Link<Element> gone = element->*link;
        (gone.previous != nullptr ? (gone.previous->*link).next : m_first) = gone.next;
        (gone.next != nullptr ? (gone.next->*link).previous : m_last) = gone.previous;
        element->*link = {};
    }

    /// Looks for an element by its address, which is only compared: it may be gone. From the front.
    bool contains(const Element* wanted) const
    {
        const Element* element = m_first;
        while (element != nullptr && element != wanted) {
            element = next(element);
        }
        return element != nullptr;
    }

    /// Empties the list. @return its first element; the others follow by next()
    Element* takeAll()
    {
        Element* const first = m_first;
        m_first = nullptr;
        m_last = nullptr;
        return first;
    }

private:
    Element* m_first = nullptr;
    Element* m_last = nullptr;
};

}  // namespace W::vorel
