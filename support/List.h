// List: the intrusive doubly linked list, whose elements know the list that holds them.
#pragma once

#include <cstdint>

template <typename T> class List;

// A class T is listed by deriving from ListElement<T>. An element is in at most
// one list at a time; destroying it takes it out of that list. Lists delete
// through T*, so T's own destructor always runs.
template <typename T>
class ListElement
{
	friend class List<T>;

	public:

		ListElement() : previous(nullptr), next(nullptr), owner(nullptr) {}

		~ListElement()
		{
			if (owner) owner->Remove(static_cast<T*>(this));
		}

		ListElement(const ListElement&) = delete;
		ListElement& operator=(const ListElement&) = delete;

		T* GetPrevious() const { return previous; }
		T* GetNext() const { return next; }
		List<T>* GetOwningList() const { return owner; }

	private:

		T* previous;
		T* next;
		List<T>* owner;
};

// The list does not own its elements unless its holder calls Purge; the
// destructor only unlinks what is left.
template <typename T>
class List
{
	public:

		List() : first(nullptr), last(nullptr) {}

		~List()
		{
			while (first) Remove(first);
		}

		List(const List&) = delete;
		List& operator=(const List&) = delete;

		T* GetFirst() const { return first; }
		T* GetLast() const { return last; }
		bool IsEmpty() const { return first == nullptr; }

		int32_t GetCount() const
		{
			int32_t count = 0;
			for (T* element = first; element; element = element->ListElement<T>::next) count++;
			return count;
		}

		// Moves the element behind the last one, out of whatever list held it,
		// this one included.
		void Append(T* element)
		{
			ListElement<T>* link = element;
			if (link->owner) link->owner->Remove(element);
			link->previous = last;
			link->next = nullptr;
			link->owner = this;
			if (last) static_cast<ListElement<T>*>(last)->next = element;
			else first = element;
			last = element;
		}

		// Moves the element in front of the first one.
		void Prepend(T* element)
		{
			ListElement<T>* link = element;
			if (link->owner) link->owner->Remove(element);
			link->previous = nullptr;
			link->next = first;
			link->owner = this;
			if (first) static_cast<ListElement<T>*>(first)->previous = element;
			else last = element;
			first = element;
		}

		// An element of another list, or of none, is left as it is.
		void Remove(T* element)
		{
			ListElement<T>* link = element;
			if (link->owner != this) return;
			if (link->previous) static_cast<ListElement<T>*>(link->previous)->next = link->next;
			else first = link->next;
			if (link->next) static_cast<ListElement<T>*>(link->next)->previous = link->previous;
			else last = link->previous;
			link->previous = nullptr;
			link->next = nullptr;
			link->owner = nullptr;
		}

		// Destroys every element, for a list that owns them.
		void Purge()
		{
			while (first)
			{
				T* element = first;
				Remove(element);
				delete element;
			}
		}

	private:

		T* first;
		T* last;
};
