#include <gtest/gtest.h>

#include <string>

#include "support/Array.h"
#include "support/String.h"

// Counts live objects, so growth, shrinking and moves show leaks and double destruction.
struct Tracked
{
	inline static int32_t live = 0;
	int32_t value;

	Tracked(int32_t v = 0) : value(v) { live++; }
	Tracked(const Tracked& other) : value(other.value) { live++; }
	Tracked(Tracked&& other) : value(other.value) { other.value = -1; live++; }
	~Tracked() { live--; }
};

// Shrinking destroys, regrowing zeroes, a negative count empties.
TEST(Array, SetCountZeroesWhatItRegrows)
{
	Array<int32_t> array;
	array.SetCount(5);
	array[4] = 9;
	array.SetCount(2);
	array.SetCount(5);
	EXPECT_EQ(array[4], 0);
	array.SetCount(-3);
	EXPECT_EQ(array.GetCount(), 0);
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
		array.RemoveLast();
		EXPECT_EQ(Tracked::live, 9);
		array.AddNew().value = 77;
		Array<Tracked> moved(static_cast<Array<Tracked>&&>(array));
		EXPECT_EQ(array.GetCount(), 0);
		EXPECT_EQ(moved.Last().value, 77);
		EXPECT_EQ(Tracked::live, 10);
		Array<Tracked> small;
		small.Add(Tracked(5));
		Array<Tracked> fromInline(static_cast<Array<Tracked>&&>(small));
		EXPECT_EQ(fromInline[0].value, 5);
		EXPECT_EQ(Tracked::live, 11);
		moved = static_cast<Array<Tracked>&&>(fromInline);
		EXPECT_EQ(Tracked::live, 1);
		moved.Clear();
		EXPECT_EQ(Tracked::live, 0);
		moved.Add(Tracked(3));
	}
	EXPECT_EQ(Tracked::live, 0);
}

// Growth moves a heap text without copying, and an element of the array
// itself added at the moment of growth is not read from the freed block.
TEST(Array, GrowthMovesStringsAndKeepsOwnElement)
{
	Array<String> array;
	for (int32_t i = 0; i < 4; i++) array.Add(String(std::string(40, char('a' + i)).c_str()));
	const char* block = array[0].GetText();
	array.Add(array[1]);
	EXPECT_EQ(array[0].GetText(), block);
	EXPECT_EQ(std::string(array[4].GetText()), std::string(40, 'b'));
	EXPECT_EQ(std::string(array[1].GetText()), std::string(40, 'b'));
}
