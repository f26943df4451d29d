#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "support/List.h"

struct Entry : public ListElement<Entry>
{
	inline static int32_t destroyed = 0;
	int32_t id;

	explicit Entry(int32_t i) : id(i) {}
	~Entry() { destroyed++; }
};

using Ids = std::vector<int32_t>;

// Walks the list both ways, checks every link and owner, and returns the ids.
static Ids Contents(const List<Entry>& list)
{
	Ids ids;
	Entry* previous = nullptr;
	for (Entry* entry = list.GetFirst(); entry && ids.size() < 10000; previous = entry, entry = entry->GetNext())
	{
		EXPECT_TRUE(entry->GetPrevious() == previous && entry->GetOwningList() == &list) << "entry " << entry->id;
		ids.push_back(entry->id);
	}
	EXPECT_EQ(list.GetLast(), previous);
	EXPECT_TRUE(list.GetCount() == int32_t(ids.size()) && list.IsEmpty() == ids.empty()) << list.GetCount();
	return ids;
}

TEST(List, WrongListRemoveIgnoredAndDestructorsUnlink)
{
	Entry a(1), b(2), kept(9);
	List<Entry> left, right;
	left.Append(&a);
	right.Append(&b);
	left.Remove(&b);
	EXPECT_EQ(Contents(right), (Ids{2}));
	{
		Entry temporary(5);
		right.Prepend(&temporary);
		List<Entry> doomed;
		doomed.Append(&kept);
	}
	EXPECT_EQ(Contents(right), (Ids{2}));
	EXPECT_EQ(kept.GetOwningList(), nullptr);
	EXPECT_EQ(kept.GetPrevious(), nullptr);
	for (int32_t i = 0; i < 5; i++) left.Append(new Entry(i));
	left.Remove(&a);
	EXPECT_EQ(a.GetOwningList(), nullptr);
	EXPECT_EQ(a.GetNext(), nullptr);
	Entry::destroyed = 0;
	left.Purge();
	EXPECT_EQ(Entry::destroyed, 5);
	EXPECT_EQ(Contents(left), Ids{});
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
		size_t target = random() % 3;
		uint32_t action = random() % 3;
		Entry* entry = entries[size_t(id)];
		for (Ids& ids : model) ids.erase(std::remove(ids.begin(), ids.end(), id), ids.end());
		if (action == 0) lists[target].Append(entry);
		if (action == 1) lists[target].Prepend(entry);
		if (action == 2 && entry->GetOwningList()) entry->GetOwningList()->Remove(entry);
		if (action < 2) model[target].insert((action == 0) ? model[target].end() : model[target].begin(), id);
		if (step % 50 != 0) continue;
		for (size_t i = 0; i < 3; i++) ASSERT_EQ(Contents(lists[i]), model[i]);
	}
	for (Entry* entry : entries) delete entry;
	for (int32_t i = 0; i < 3; i++) EXPECT_TRUE(lists[i].IsEmpty());
}
