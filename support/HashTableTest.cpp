#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "support/HashTable.h"

struct Item : public HashElement<Item>
{
	inline static int32_t destroyed = 0;
	int32_t id;

	Item(uint32_t hash, int32_t i) : HashElement<Item>(hash), id(i) {}
	~Item() { destroyed++; }
};

using Chains = std::vector<std::vector<int32_t>>;

// Checks that every element sits in the bucket its stored hash selects, with
// consistent links, and returns the chains' ids bucket by bucket.
static Chains CheckTable(const HashTable<Item>& table)
{
	Chains chains(size_t(table.GetBucketCount()));
	int32_t count = 0, walked = 0;
	for (uint32_t b = 0; b < chains.size(); b++)
	{
		Item* previous = nullptr;
		for (Item* item = table.GetFirstInBucket(b); item; previous = item, item = item->GetNextInBucket(), count++)
		{
			EXPECT_TRUE(item->GetHash() % chains.size() == b && item->GetPreviousInBucket() == previous && item->GetOwningTable() == &table) << "item " << item->id;
			chains[b].push_back(item->id);
		}
	}
	for (Item* item = table.First(); item; item = table.Next(item)) walked++;
	EXPECT_TRUE(count == table.GetCount() && walked == count) << count << " filed, " << walked << " walked, " << table.GetCount() << " counted";
	return chains;
}

// Buckets and limit after construction and after a number of inserts: the
// table doubles before the insert that finds the limit reached, and the limit
// doubles as it stands (2 becomes 4, not 8 * 0.7).
TEST(HashTable, SizingAndDoubling)
{
	struct Row { int32_t buckets; float loadFactor; int32_t inserts; int32_t expectedBuckets; int32_t expectedLimit; };
	const Row rows[] = {
		{10, 1.0f, 0, 16, 16},
		{-8, 1.0f, 0, 1, 1},
		{8, 0.0f, 0, 8, 1},
		{8, NAN, 0, 8, 1},
		{8, 1e30f, 0, 8, 0x7FFFFFFF},
		{4, 1.0f, 4, 4, 4},
		{4, 1.0f, 5, 8, 8},
		{4, 0.7f, 3, 8, 4},
		{1, 0.0f, 2, 2, 2},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::to_string(row.buckets) + " x " + std::to_string(row.loadFactor) + ", " + std::to_string(row.inserts));
		HashTable<Item> table(row.buckets, row.loadFactor);
		for (int32_t i = 0; i < row.inserts; i++) table.Insert(new Item(uint32_t(i) * 2654435761u, i));
		EXPECT_EQ(table.GetBucketCount(), row.expectedBuckets);
		EXPECT_EQ(table.GetLimit(), row.expectedLimit);
		EXPECT_EQ(table.GetCount(), row.inserts);
		CheckTable(table);
		Item::destroyed = 0;
		table.Purge();
		EXPECT_EQ(Item::destroyed, row.inserts);
		EXPECT_EQ(table.First(), nullptr);
	}
}

// Doubling rehashes by the stored value alone and keeps each chain's order.
TEST(HashTable, DoublingSplitsChainsInOrder)
{
	HashTable<Item> table(2, 4.0f);
	const uint32_t hashes[] = {1, 3, 5, 7, 1, 9, 3, 0, 11};
	for (int32_t i = 0; i < 8; i++) table.Insert(new Item(hashes[i], i));
	EXPECT_EQ(CheckTable(table), (Chains{{7}, {0, 1, 2, 3, 4, 5, 6}}));
	table.Insert(new Item(hashes[8], 8));
	EXPECT_EQ(CheckTable(table), (Chains{{7}, {0, 2, 4, 5}, {}, {1, 3, 6, 8}}));
	table.Purge();
}

TEST(HashTable, InsertAfterPlacesBehindAnEqualElement)
{
	HashTable<Item> table(4, 4.0f);
	Item a(5, 1), b(5, 2), c(5, 3), d(5, 4), e(6, 5);
	table.Insert(&a);
	table.Insert(&b);
	table.Insert(&c);
	table.InsertAfter(&d, &a);
	EXPECT_EQ(CheckTable(table)[1], (std::vector<int32_t>{1, 4, 2, 3}));
	// A `previous` from another chain, or the element itself, makes it a plain insert.
	table.InsertAfter(&a, &e);
	table.InsertAfter(&e, &b);
	table.InsertAfter(&c, &c);
	Chains chains = CheckTable(table);
	EXPECT_EQ(chains[1], (std::vector<int32_t>{4, 2, 1, 3}));
	EXPECT_EQ(chains[2], (std::vector<int32_t>{5}));
}

// Moving between tables, refiling, and unlinking by either destructor.
TEST(HashTable, MovingRemovingAndRefiling)
{
	HashTable<Item> first(4, 1.0f);
	HashTable<Item> second(8, 1.0f);
	Item a(1, 1), b(2, 2);
	first.Insert(&a);
	first.Insert(&b);
	second.Insert(&a);
	EXPECT_EQ(first.GetCount(), 1);
	first.Remove(&a);
	EXPECT_EQ(a.GetOwningTable(), &second);
	a.SetHash(7);
	EXPECT_EQ(CheckTable(second)[7], (std::vector<int32_t>{1}));
	second.Remove(&a);
	second.Remove(&a);
	EXPECT_EQ(a.GetOwningTable(), nullptr);
	EXPECT_EQ(second.GetCount(), 0);
	{
		Item temporary(2, 3);
		first.Insert(&temporary);
	}
	EXPECT_EQ(CheckTable(first)[2], (std::vector<int32_t>{2}));
	{
		HashTable<Item> doomed(2, 1.0f);
		doomed.Insert(&b);
	}
	EXPECT_EQ(b.GetOwningTable(), nullptr);
	EXPECT_EQ(first.GetCount(), 0);
}

// Random inserts and removals against a model of which element is filed.
TEST(HashTable, RandomOperationsKeepInvariants)
{
	std::mt19937 random(99);
	HashTable<Item> table(1, 0.75f);
	std::vector<Item*> items;
	for (int32_t i = 0; i < 300; i++) items.push_back(new Item(uint32_t(random()), i));
	std::vector<bool> filed(items.size(), false);
	for (int32_t step = 0; step < 5000; step++)
	{
		size_t index = random() % items.size();
		filed[index] = random() % 3 != 0;
		if (filed[index]) table.Insert(items[index]);
		else table.Remove(items[index]);
		if (step % 100 != 0) continue;
		CheckTable(table);
		int32_t expected = 0;
		for (size_t i = 0; i < items.size(); i++)
		{
			ASSERT_EQ(items[i]->GetOwningTable() == &table, bool(filed[i]));
			expected += filed[i] ? 1 : 0;
		}
		ASSERT_EQ(table.GetCount(), expected);
		ASSERT_LE(table.GetCount(), table.GetLimit());
	}
	for (Item* item : items) delete item;
	EXPECT_EQ(table.GetCount(), 0);
}
