#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/Array.h"
#include "support/String.h"

// Counts live objects, so growth, shrinking and moves can be checked for
// leaks and double destruction.
struct Tracked
{
	static int32_t live;
	int32_t value;

	Tracked() : value(0) { live++; }
	Tracked(int32_t v) : value(v) { live++; }
	Tracked(const Tracked& other) : value(other.value) { live++; }
	Tracked(Tracked&& other) : value(other.value) { other.value = -1; live++; }
	~Tracked() { live--; }
};

int32_t Tracked::live = 0;

template <typename T, int32_t N>
static std::vector<int32_t> CapacitySteps(int32_t additions)
{
	Array<T, N> array;
	std::vector<int32_t> steps = {array.GetCapacity()};
	for (int32_t i = 0; i < additions; i++)
	{
		array.Add(T(i));
		if (array.GetCapacity() != steps.back()) steps.push_back(array.GetCapacity());
	}
	return steps;
}

TEST(Array, GrowthSequences)
{
	EXPECT_EQ((CapacitySteps<int32_t, 4>(70)), (std::vector<int32_t>{4, 8, 12, 20, 32, 48, 72}));
	EXPECT_EQ((CapacitySteps<int32_t, 0>(70)), (std::vector<int32_t>{0, 4, 8, 12, 20, 32, 48, 72}));
	EXPECT_EQ((CapacitySteps<int32_t, 8>(50)), (std::vector<int32_t>{8, 16, 24, 36, 56}));
	EXPECT_EQ((CapacitySteps<int32_t, 16>(70)), (std::vector<int32_t>{16, 32, 48, 72}));
	EXPECT_EQ((CapacitySteps<int32_t, 1>(10)), (std::vector<int32_t>{1, 5, 9, 13}));
}

TEST(Array, GrowCapacityRule)
{
	struct Row
	{
		int32_t capacity;
		int32_t needed;
		int32_t minimumStep;
		int32_t expected;
	};
	const Row rows[] = {
		{0, 1, 4, 4},
		{0, 0, 4, 4},
		{4, 5, 4, 8},
		{8, 9, 8, 16},
		{12, 13, 4, 20},
		{13, 14, 4, 21},
		{100, 500, 4, 500},
		{100, 101, 4, 152},
		{1, 2, 4, 5},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::to_string(row.capacity) + " need " + std::to_string(row.needed));
		EXPECT_EQ(GrowArrayCapacity(row.capacity, row.needed, row.minimumStep), row.expected);
	}
}

TEST(Array, ReserveAndSetCount)
{
	Array<int32_t> array;
	array.Reserve(3);
	EXPECT_EQ(array.GetCapacity(), 4);
	array.Reserve(100);
	EXPECT_EQ(array.GetCapacity(), 100);
	array.SetCount(5);
	for (int32_t i = 0; i < 5; i++) EXPECT_EQ(array[i], 0);
	array[4] = 9;
	array.SetCount(2);
	array.SetCount(5);
	EXPECT_EQ(array[4], 0);
	array.SetCount(-3);
	EXPECT_EQ(array.GetCount(), 0);
	EXPECT_EQ(array.GetCapacity(), 100);

	Array<int32_t, 0> empty;
	empty.SetCount(1);
	EXPECT_EQ(empty.GetCapacity(), 4);
	EXPECT_EQ(empty.GetCount(), 1);
}

TEST(Array, ElementsLiveExactlyAsLongAsTheyAreHeld)
{
	Tracked::live = 0;
	{
		Array<Tracked> array;
		for (int32_t i = 0; i < 40; i++) array.Add(Tracked(i));
		EXPECT_EQ(Tracked::live, 40);
		for (int32_t i = 0; i < 40; i++) ASSERT_EQ(array[i].value, i);
		array.SetCount(10);
		EXPECT_EQ(Tracked::live, 10);
		array.RemoveLast();
		EXPECT_EQ(Tracked::live, 9);
		array.AddNew().value = 77;
		EXPECT_EQ(array.Last().value, 77);

		Array<Tracked> moved(static_cast<Array<Tracked>&&>(array));
		EXPECT_EQ(array.GetCount(), 0);
		EXPECT_EQ(moved.GetCount(), 10);
		EXPECT_EQ(Tracked::live, 10);

		Array<Tracked> small;
		small.Add(Tracked(5));
		Array<Tracked> fromInline(static_cast<Array<Tracked>&&>(small));
		EXPECT_EQ(fromInline[0].value, 5);
		EXPECT_EQ(small.GetCount(), 0);
		EXPECT_EQ(Tracked::live, 11);

		moved = static_cast<Array<Tracked>&&>(fromInline);
		EXPECT_EQ(moved.GetCount(), 1);
		EXPECT_EQ(Tracked::live, 1);
		moved.Clear();
		EXPECT_EQ(Tracked::live, 0);
		moved.Add(Tracked(3));
	}
	EXPECT_EQ(Tracked::live, 0);
}

// Growth moves strings: a heap text keeps its block, nothing is copied.
TEST(Array, GrowthMovesStrings)
{
	Array<String> array;
	array.Add(String("a text long enough for a heap block of its own"));
	const char* block = array[0].GetText();
	for (int32_t i = 0; i < 30; i++) array.Add(String("short"));
	EXPECT_EQ(array[0].GetText(), block);
	EXPECT_STREQ(array[0].GetText(), "a text long enough for a heap block of its own");
	EXPECT_STREQ(array[30].GetText(), "short");
}

// Adding an element of the array itself at the moment it grows must not read
// the freed block.
TEST(Array, AddOwnElementWhileGrowing)
{
	Array<String> array;
	for (int32_t i = 0; i < 4; i++) array.Add(String(std::string(40, char('a' + i)).c_str()));
	ASSERT_EQ(array.GetCount(), array.GetCapacity());
	array.Add(array[1]);
	EXPECT_EQ(std::string(array[4].GetText()), std::string(40, 'b'));
	EXPECT_EQ(std::string(array[1].GetText()), std::string(40, 'b'));

	Array<int32_t> numbers;
	for (int32_t i = 0; i < 8; i++) numbers.Add(i * 3);
	numbers.Add(numbers[7]);
	EXPECT_EQ(numbers[8], 21);
}
