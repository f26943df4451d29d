#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "support/List.h"

struct Entry : public ListElement<Entry>
{
	static int32_t destroyed;
	int32_t id;

	explicit Entry(int32_t i) : id(i) {}
	~Entry() { destroyed++; }
};

int32_t Entry::destroyed = 0;

// Walks the list both ways, checks every link and owner, and returns the ids.
static std::vector<int32_t> Contents(const List<Entry>& list)
{
	std::vector<int32_t> ids;
	Entry* previous = nullptr;
	for (Entry* entry = list.GetFirst(); entry; entry = entry->GetNext())
	{
		EXPECT_EQ(entry->GetPrevious(), previous);
		EXPECT_EQ(entry->GetOwningList(), &list);
		ids.push_back(entry->id);
		previous = entry;
		if (ids.size() > 10000) break;
	}
	EXPECT_EQ(list.GetLast(), previous);
	EXPECT_EQ(list.GetCount(), int32_t(ids.size()));
	EXPECT_EQ(list.IsEmpty(), ids.empty());
	return ids;
}

using Ids = std::vector<int32_t>;

TEST(List, AppendRemoveAndPrepend)
{
	Entry a(1), b(2), c(3);
	List<Entry> list;
	EXPECT_EQ(Contents(list), Ids{});
	list.Append(&a);
	list.Append(&b);
	list.Append(&c);
	EXPECT_EQ(Contents(list), (Ids{1, 2, 3}));
	list.Remove(&b);
	EXPECT_EQ(Contents(list), (Ids{1, 3}));
	EXPECT_EQ(b.GetOwningList(), nullptr);
	EXPECT_EQ(b.GetNext(), nullptr);
	list.Prepend(&b);
	EXPECT_EQ(Contents(list), (Ids{2, 1, 3}));
	list.Remove(&b);
	list.Remove(&c);
	list.Remove(&a);
	EXPECT_EQ(Contents(list), Ids{});
	list.Remove(&a);
	EXPECT_EQ(Contents(list), Ids{});
}

TEST(List, AppendingAMemberMovesItToTheEnd)
{
	struct Row
	{
		int32_t moved;
		Ids expected;
	};
	const Row rows[] = {
		{0, {2, 3, 1}},
		{1, {1, 3, 2}},
		{2, {1, 2, 3}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.moved);
		Entry entries[3] = {Entry(1), Entry(2), Entry(3)};
		List<Entry> list;
		for (Entry& entry : entries) list.Append(&entry);
		list.Append(&entries[row.moved]);
		EXPECT_EQ(Contents(list), row.expected);
		list.Prepend(&entries[2]);
		EXPECT_EQ(Contents(list)[0], 3);
	}
}

TEST(List, MovingBetweenListsKeepsBothEnds)
{
	Entry a(1), b(2), c(3), d(4);
	List<Entry> left;
	List<Entry> right;
	left.Append(&a);
	left.Append(&b);
	left.Append(&c);
	right.Append(&d);
	right.Append(&a);
	EXPECT_EQ(Contents(left), (Ids{2, 3}));
	EXPECT_EQ(Contents(right), (Ids{4, 1}));
	right.Prepend(&c);
	EXPECT_EQ(Contents(left), (Ids{2}));
	EXPECT_EQ(Contents(right), (Ids{3, 4, 1}));
	// Removing through the wrong list does nothing.
	left.Remove(&d);
	EXPECT_EQ(Contents(right), (Ids{3, 4, 1}));
	right.Append(&b);
	EXPECT_EQ(Contents(left), Ids{});
	EXPECT_EQ(Contents(right), (Ids{3, 4, 1, 2}));
}

TEST(List, DestroyingAnElementLeavesTheList)
{
	List<Entry> list;
	Entry a(1);
	list.Append(&a);
	{
		Entry b(2);
		list.Append(&b);
		Entry c(3);
		list.Append(&c);
	}
	EXPECT_EQ(Contents(list), (Ids{1}));
}

TEST(List, PurgeDestroysAndDestructorOnlyUnlinks)
{
	Entry::destroyed = 0;
	{
		List<Entry> list;
		for (int32_t i = 0; i < 5; i++) list.Append(new Entry(i));
		list.Purge();
		EXPECT_EQ(Entry::destroyed, 5);
		EXPECT_EQ(Contents(list), Ids{});
	}
	Entry kept(9);
	{
		List<Entry> list;
		list.Append(&kept);
	}
	EXPECT_EQ(kept.GetOwningList(), nullptr);
	EXPECT_EQ(kept.GetPrevious(), nullptr);
	EXPECT_EQ(kept.GetNext(), nullptr);
}

// Random moves among three lists, compared with a plain model.
TEST(List, RandomMovesMatchModel)
{
	std::mt19937 random(7);
	const int32_t count = 40;
	std::vector<Entry*> entries;
	for (int32_t i = 0; i < count; i++) entries.push_back(new Entry(i));
	List<Entry> lists[3];
	std::vector<Ids> model(3);
	for (int32_t step = 0; step < 3000; step++)
	{
		int32_t id = int32_t(random() % count);
		int32_t target = int32_t(random() % 3);
		int32_t action = int32_t(random() % 3);
		for (Ids& ids : model) ids.erase(std::remove(ids.begin(), ids.end(), id), ids.end());
		if (action == 0)
		{
			lists[target].Append(entries[size_t(id)]);
			model[size_t(target)].push_back(id);
		}
		else if (action == 1)
		{
			lists[target].Prepend(entries[size_t(id)]);
			model[size_t(target)].insert(model[size_t(target)].begin(), id);
		}
		else
		{
			List<Entry>* owner = entries[size_t(id)]->GetOwningList();
			if (owner) owner->Remove(entries[size_t(id)]);
		}
		if (step % 50 == 0)
		{
			for (int32_t i = 0; i < 3; i++) ASSERT_EQ(Contents(lists[i]), model[size_t(i)]);
		}
	}
	for (int32_t i = 0; i < 3; i++) EXPECT_EQ(Contents(lists[i]), model[size_t(i)]);
	for (Entry* entry : entries) delete entry;
	for (int32_t i = 0; i < 3; i++) EXPECT_TRUE(lists[i].IsEmpty());
}
