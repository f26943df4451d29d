// Array: a growing array with optional inline room, the one sequence container.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <new>
#include <utility>

// Capacity for a need of `needed` elements, grown from `capacity`. `minimumStep`
// is 4, or the inline room where that is larger. Signed division is meant: the
// step is (capacity / 2 + 3) with its two low bits cleared.
inline int32_t GrowArrayCapacity(int32_t capacity, int32_t needed, int32_t minimumStep)
{
	int64_t step = int64_t((capacity / 2 + 3) & ~3);
	if (step < minimumStep) step = minimumStep;
	int64_t grown = int64_t(capacity) + step;
	int64_t floor = (needed > 4) ? needed : 4;
	int64_t result = (grown > floor) ? grown : floor;
	// No array of the system comes near this; ending here beats a wrapped size.
	if (result > 0x7FFFFFFF) std::abort();
	return int32_t(result);
}

// Elements are moved into a new block on growth, so arrays of strings keep
// their contents without copies. N elements live inside the object until the
// first growth; N = 0 starts with no storage.
template <typename T, int32_t N = 4>
class Array
{
	public:

		Array() : count(0), capacity(N), elements(InlineRoom()) {}

		~Array()
		{
			DestroyRange(0, count);
			if (elements != InlineRoom()) std::free(elements);
		}

		Array(const Array&) = delete;
		Array& operator=(const Array&) = delete;

		Array(Array&& other) : count(0), capacity(N), elements(InlineRoom())
		{
			TakeFrom(other);
		}

		Array& operator=(Array&& other)
		{
			if (this != &other)
			{
				DestroyRange(0, count);
				if (elements != InlineRoom()) std::free(elements);
				count = 0;
				capacity = N;
				elements = InlineRoom();
				TakeFrom(other);
			}
			return *this;
		}

		int32_t GetCount() const { return count; }
		int32_t GetCapacity() const { return capacity; }

		T* GetData() { return elements; }
		const T* GetData() const { return elements; }

		T& operator[](int32_t index) { return elements[index]; }
		const T& operator[](int32_t index) const { return elements[index]; }

		T* begin() { return elements; }
		T* end() { return elements + count; }
		const T* begin() const { return elements; }
		const T* end() const { return elements + count; }

		T& Last() { return elements[count - 1]; }

		void Reserve(int32_t needed)
		{
			if (needed > capacity) Grow(needed);
		}

		// Grows or shrinks the element count; new elements are value-initialised,
		// so plain records start zeroed.
		void SetCount(int32_t newCount)
		{
			if (newCount < 0) newCount = 0;
			if (newCount > capacity) Grow(newCount);
			for (int32_t i = count; i < newCount; i++) new (&elements[i]) T();
			DestroyRange(newCount, count);
			count = newCount;
		}

		void Add(const T& value)
		{
			if (count >= capacity)
			{
				// The value may live in this array; copy it before the block moves.
				T copy(value);
				Grow(count + 1);
				new (&elements[count]) T(std::move(copy));
			}
			else
			{
				new (&elements[count]) T(value);
			}
			count++;
		}

		void Add(T&& value)
		{
			if (count >= capacity)
			{
				T moved(std::move(value));
				Grow(count + 1);
				new (&elements[count]) T(std::move(moved));
			}
			else
			{
				new (&elements[count]) T(std::move(value));
			}
			count++;
		}

		// Appends a value-initialised element and returns it.
		T& AddNew()
		{
			if (count >= capacity) Grow(count + 1);
			T* element = new (&elements[count]) T();
			count++;
			return *element;
		}

		void RemoveLast()
		{
			if (count > 0)
			{
				count--;
				elements[count].~T();
			}
		}

		void Clear()
		{
			DestroyRange(0, count);
			count = 0;
		}

	private:

		int32_t count;
		int32_t capacity;
		T* elements;
		alignas(T) unsigned char room[(N > 0) ? N * sizeof(T) : 1];

		T* InlineRoom() { return (N > 0) ? reinterpret_cast<T*>(room) : nullptr; }

		// Takes a heap block as it is; inline elements are moved one by one.
		// `other` is left empty with its inline room.
		void TakeFrom(Array& other)
		{
			if (other.elements != other.InlineRoom())
			{
				elements = other.elements;
				count = other.count;
				capacity = other.capacity;
			}
			else
			{
				for (int32_t i = 0; i < other.count; i++)
				{
					new (&elements[i]) T(std::move(other.elements[i]));
					other.elements[i].~T();
				}
				count = other.count;
			}
			other.elements = other.InlineRoom();
			other.count = 0;
			other.capacity = N;
		}

		void DestroyRange(int32_t first, int32_t last)
		{
			for (int32_t i = first; i < last; i++) elements[i].~T();
		}

		void Grow(int32_t needed)
		{
			int32_t newCapacity = GrowArrayCapacity(capacity, needed, (N > 4) ? N : 4);
			if (uint64_t(newCapacity) * sizeof(T) > uint64_t(0x7FFFFFFF) * 8) std::abort();
			T* block = static_cast<T*>(std::malloc(size_t(newCapacity) * sizeof(T)));
			if (!block) std::abort();
			for (int32_t i = 0; i < count; i++)
			{
				new (&block[i]) T(std::move(elements[i]));
				elements[i].~T();
			}
			if (elements != InlineRoom()) std::free(elements);
			elements = block;
			capacity = newCapacity;
		}
};
