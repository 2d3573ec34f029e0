// An intrusive list: the links are in the elements, so that adding one allocates nothing and cannot fail.
#pragma once

namespace W::vorel {

/// The neighbours of an element in its list.
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

    /// Whether an element is in the list. Its address is only compared: the element may have been destroyed.
    bool contains(const Element* wanted) const
    {
        const Element* element = m_first;
        while (element != nullptr && element != wanted) {
            element = next(element);
        }
        return element != nullptr;
    }

    /// Empties the list. @return its first element; next() gives the others
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
