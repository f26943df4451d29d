// HashTable: the chained hash table whose elements keep their own hash and bucket.
#pragma once

#include <cstddef>
#include <cstdint>

template <typename T> class HashTable;

template <typename T>
struct HashBucket
{
	T* first;
	T* last;
	HashTable<T>* table;
};

// A class T is filed by deriving from HashElement<T>. The hash is computed
// once, by the element's owner, and stored; the table never computes one.
// Destroying an element takes it out of its table.
template <typename T>
class HashElement
{
	friend class HashTable<T>;

	public:

		HashElement() : previous(nullptr), next(nullptr), bucket(nullptr), hash(0) {}
		explicit HashElement(uint32_t value) : previous(nullptr), next(nullptr), bucket(nullptr), hash(value) {}

		~HashElement()
		{
			if (bucket) bucket->table->Remove(static_cast<T*>(this));
		}

		HashElement(const HashElement&) = delete;
		HashElement& operator=(const HashElement&) = delete;

		uint32_t GetHash() const { return hash; }
		T* GetPreviousInBucket() const { return previous; }
		T* GetNextInBucket() const { return next; }
		HashTable<T>* GetOwningTable() const { return bucket ? bucket->table : nullptr; }

		// A filed element is refiled at the end of the chain its new hash selects.
		void SetHash(uint32_t value)
		{
			HashTable<T>* table = GetOwningTable();
			if (table) table->Remove(static_cast<T*>(this));
			hash = value;
			if (table) table->Insert(static_cast<T*>(this));
		}

	private:

		T* previous;
		T* next;
		HashBucket<T>* bucket;
		uint32_t hash;
};

// The bucket count is a power of two and an element's bucket is its hash AND
// (count - 1). The table doubles before an insert once the element count has
// reached the limit. It does not own its elements unless its holder calls Purge.
template <typename T>
class HashTable
{
	public:

		// The bucket count is raised to a power of two, from 1 to kMostBuckets,
		// and the limit is at least 1: a limit of 0 would double on every insert.
		HashTable(int32_t bucketCount, float loadFactor) : elementCount(0), bucketCount(1), limit(1), buckets(nullptr)
		{
			while (bucketCount > this->bucketCount && this->bucketCount < kMostBuckets) this->bucketCount *= 2;
			float products = float(this->bucketCount) * loadFactor;
			// The negated test also catches a NaN load factor.
			if (!(products >= 1.0f)) limit = 1;
			else if (products >= 2147483520.0f) limit = 0x7FFFFFFF;
			else limit = int32_t(products);
			buckets = NewBuckets(this->bucketCount);
		}

		~HashTable()
		{
			for (int32_t i = 0; i < bucketCount; i++)
			{
				while (buckets[i].first) Unlink(buckets[i].first);
			}
			delete[] buckets;
		}

		HashTable(const HashTable&) = delete;
		HashTable& operator=(const HashTable&) = delete;

		int32_t GetCount() const { return elementCount; }
		int32_t GetBucketCount() const { return bucketCount; }
		int32_t GetLimit() const { return limit; }

		// The chain where elements of this hash live; the caller compares.
		T* GetFirstInBucket(uint32_t value) const { return buckets[value & uint32_t(bucketCount - 1)].first; }

		// Files the element at the end of its bucket's chain, moving it out of
		// any table that holds it.
		void Insert(T* element)
		{
			Prepare(element);
			Link(element, BucketOf(element)->last);
		}

		// Files the element directly behind `previous`, an equal element the
		// caller found. A `previous` that is not in the chain the element
		// belongs to makes this a plain insert.
		void InsertAfter(T* element, T* previous)
		{
			if (element == previous)
			{
				Insert(element);
				return;
			}
			Prepare(element);
			HashBucket<T>* bucket = BucketOf(element);
			if (previous && Element(previous)->bucket == bucket) Link(element, previous);
			else Link(element, bucket->last);
		}

		// An element of another table, or of none, is left as it is.
		void Remove(T* element)
		{
			HashBucket<T>* bucket = Element(element)->bucket;
			if (bucket && bucket->table == this) Unlink(element);
		}

		// Destroys every element, for a table that owns them.
		void Purge()
		{
			for (int32_t i = 0; i < bucketCount; i++)
			{
				while (buckets[i].first)
				{
					T* element = buckets[i].first;
					Unlink(element);
					delete element;
				}
			}
		}

		// Walks all elements, bucket by bucket.
		T* First() const
		{
			for (int32_t i = 0; i < bucketCount; i++)
			{
				if (buckets[i].first) return buckets[i].first;
			}
			return nullptr;
		}

		T* Next(const T* element) const
		{
			const HashElement<T>* link = element;
			if (link->next) return link->next;
			if (!link->bucket || link->bucket->table != this) return nullptr;
			for (int32_t i = int32_t(link->bucket - buckets) + 1; i < bucketCount; i++)
			{
				if (buckets[i].first) return buckets[i].first;
			}
			return nullptr;
		}

		// Past 2^24 buckets the chains grow instead; a bucket array this size is
		// already 400 MB.
		static const int32_t kMostBuckets = 1 << 24;

	private:

		int32_t elementCount;
		int32_t bucketCount;
		int32_t limit;
		HashBucket<T>* buckets;

		static HashElement<T>* Element(T* element) { return element; }

		HashBucket<T>* NewBuckets(int32_t count)
		{
			HashBucket<T>* block = new HashBucket<T>[size_t(count)];
			for (int32_t i = 0; i < count; i++)
			{
				block[i].first = nullptr;
				block[i].last = nullptr;
				block[i].table = this;
			}
			return block;
		}

		HashBucket<T>* BucketOf(T* element) const
		{
			return &buckets[Element(element)->hash & uint32_t(bucketCount - 1)];
		}

		void Prepare(T* element)
		{
			HashBucket<T>* bucket = Element(element)->bucket;
			if (bucket) bucket->table->Remove(element);
			if (elementCount >= limit) Double();
		}

		// Every element moves to the bucket its stored hash selects; chains keep
		// their order. At the largest bucket count the chains just grow.
		void Double()
		{
			if (bucketCount >= kMostBuckets) return;
			int32_t oldCount = bucketCount;
			HashBucket<T>* oldBuckets = buckets;
			bucketCount = oldCount * 2;
			limit = (limit > 0x3FFFFFFF) ? 0x7FFFFFFF : limit * 2;
			buckets = NewBuckets(bucketCount);
			for (int32_t i = 0; i < oldCount; i++)
			{
				T* element = oldBuckets[i].first;
				while (element)
				{
					T* following = Element(element)->next;
					HashBucket<T>* bucket = BucketOf(element);
					HashElement<T>* link = element;
					link->bucket = bucket;
					link->previous = bucket->last;
					link->next = nullptr;
					if (bucket->last) Element(bucket->last)->next = element;
					else bucket->first = element;
					bucket->last = element;
					element = following;
				}
			}
			delete[] oldBuckets;
		}

		// Links an element that is in no table behind `previous` in its own
		// bucket, or at the front where `previous` is null.
		void Link(T* element, T* previous)
		{
			HashBucket<T>* bucket = BucketOf(element);
			HashElement<T>* link = element;
			link->bucket = bucket;
			link->previous = previous;
			link->next = previous ? Element(previous)->next : bucket->first;
			if (link->next) Element(link->next)->previous = element;
			else bucket->last = element;
			if (previous) Element(previous)->next = element;
			else bucket->first = element;
			elementCount++;
		}

		void Unlink(T* element)
		{
			HashElement<T>* link = element;
			HashBucket<T>* bucket = link->bucket;
			if (link->previous) Element(link->previous)->next = link->next;
			else bucket->first = link->next;
			if (link->next) Element(link->next)->previous = link->previous;
			else bucket->last = link->previous;
			link->previous = nullptr;
			link->next = nullptr;
			link->bucket = nullptr;
			elementCount--;
		}
};
