#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "support/Tree.h"

struct KeyNode : public TreeNode<KeyNode>
{
	static int32_t destroyed;
	int32_t key;

	explicit KeyNode(int32_t k) : key(k) {}
	~KeyNode() { destroyed++; }
};

int32_t KeyNode::destroyed = 0;

// The caller's search: equal keys go to the right, so they stay in insertion order.
static void InsertByKey(Tree<KeyNode>& tree, KeyNode* node)
{
	KeyNode* at = tree.GetRoot();
	if (!at)
	{
		tree.InsertRoot(node);
		return;
	}
	for (;;)
	{
		if (node->key < at->key)
		{
			if (!at->GetTreeLeft())
			{
				tree.InsertLeft(at, node);
				return;
			}
			at = at->GetTreeLeft();
		}
		else
		{
			if (!at->GetTreeRight())
			{
				tree.InsertRight(at, node);
				return;
			}
			at = at->GetTreeRight();
		}
	}
}

// Checks links, owner and balance below `node`; returns the height.
static int32_t CheckSubtree(const Tree<KeyNode>& tree, const KeyNode* node, int32_t* count)
{
	if (!node) return 0;
	(*count)++;
	EXPECT_EQ(node->GetOwningTree(), &tree);
	const KeyNode* left = node->GetTreeLeft();
	const KeyNode* right = node->GetTreeRight();
	if (left)
	{
		EXPECT_EQ(left->GetTreeParent(), node);
		EXPECT_LE(left->key, node->key);
	}
	if (right)
	{
		EXPECT_EQ(right->GetTreeParent(), node);
		EXPECT_GE(right->key, node->key);
	}
	int32_t leftHeight = CheckSubtree(tree, left, count);
	int32_t rightHeight = CheckSubtree(tree, right, count);
	EXPECT_EQ(node->GetBalance(), rightHeight - leftHeight) << "at key " << node->key;
	EXPECT_GE(node->GetBalance(), -1);
	EXPECT_LE(node->GetBalance(), 1);
	return 1 + std::max(leftHeight, rightHeight);
}

// Full check; returns the keys in order from the First/Next walk.
static std::vector<int32_t> CheckTree(const Tree<KeyNode>& tree)
{
	if (tree.GetRoot())
	{
		EXPECT_EQ(tree.GetRoot()->GetTreeParent(), nullptr);
	}
	int32_t count = 0;
	CheckSubtree(tree, tree.GetRoot(), &count);
	std::vector<int32_t> keys;
	for (KeyNode* node = tree.First(); node; node = Tree<KeyNode>::Next(node)) keys.push_back(node->key);
	EXPECT_EQ(int32_t(keys.size()), count);
	EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end()));
	std::vector<int32_t> backwards;
	for (KeyNode* node = tree.Last(); node; node = Tree<KeyNode>::Previous(node)) backwards.push_back(node->key);
	std::reverse(backwards.begin(), backwards.end());
	EXPECT_EQ(backwards, keys);
	return keys;
}

using Keys = std::vector<int32_t>;

TEST(Tree, RotationsOnInsert)
{
	struct Row
	{
		const char* name;
		Keys order;
		int32_t root;
	};
	const Row rows[] = {
		{"right right", {1, 2, 3}, 2},
		{"left left", {3, 2, 1}, 2},
		{"right left", {1, 3, 2}, 2},
		{"left right", {3, 1, 2}, 2},
		{"deeper double", {50, 20, 80, 10, 30, 25}, 30},
		{"deeper double to the right", {50, 20, 80, 90, 70, 60}, 70},
		{"deeper single", {50, 20, 80, 70, 90, 95}, 80},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.name);
		std::vector<KeyNode*> nodes;
		Tree<KeyNode> tree;
		for (int32_t key : row.order)
		{
			nodes.push_back(new KeyNode(key));
			InsertByKey(tree, nodes.back());
		}
		Keys sorted = row.order;
		std::sort(sorted.begin(), sorted.end());
		EXPECT_EQ(CheckTree(tree), sorted);
		EXPECT_EQ(tree.GetRoot()->key, row.root);
		tree.Purge();
	}
}

TEST(Tree, RemovalUsesLeftmostOfRightSubtree)
{
	struct Row
	{
		const char* name;
		Keys order;
		int32_t removed;
		int32_t root;
	};
	const Row rows[] = {
		{"heir is the right child", {2, 1, 3}, 2, 3},
		{"heir deeper", {20, 10, 40, 5, 30, 50, 35}, 20, 30},
		{"leaf then rotation", {20, 10, 30, 40}, 10, 30},
		{"double rotation after removal", {20, 10, 30, 25}, 10, 25},
		{"single child", {20, 10, 30, 40}, 30, 20},
		{"last node", {7}, 7, -1},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.name);
		Tree<KeyNode> tree;
		std::vector<KeyNode*> nodes;
		KeyNode* removed = nullptr;
		for (int32_t key : row.order)
		{
			nodes.push_back(new KeyNode(key));
			InsertByKey(tree, nodes.back());
			if (key == row.removed) removed = nodes.back();
		}
		tree.Remove(removed);
		EXPECT_EQ(removed->GetOwningTree(), nullptr);
		EXPECT_EQ(removed->GetTreeParent(), nullptr);
		EXPECT_EQ(removed->GetTreeLeft(), nullptr);
		EXPECT_EQ(removed->GetTreeRight(), nullptr);
		Keys expected = row.order;
		expected.erase(std::find(expected.begin(), expected.end(), row.removed));
		std::sort(expected.begin(), expected.end());
		EXPECT_EQ(CheckTree(tree), expected);
		EXPECT_EQ(tree.GetRoot() ? tree.GetRoot()->key : -1, row.root);
		delete removed;
		tree.Purge();
	}
}

TEST(Tree, OccupiedPlaceInsertsNextToParentInOrder)
{
	Tree<KeyNode> tree;
	KeyNode a(10), b(20), c(30), d(15), e(25);
	InsertByKey(tree, &b);
	InsertByKey(tree, &a);
	InsertByKey(tree, &c);
	// 20 already has children on both sides.
	tree.InsertLeft(&b, &d);
	tree.InsertRight(&b, &e);
	EXPECT_EQ(CheckTree(tree), (Keys{10, 15, 20, 25, 30}));
	// InsertRoot on a tree with nodes puts the node first.
	KeyNode f(1);
	tree.InsertRoot(&f);
	EXPECT_EQ(CheckTree(tree), (Keys{1, 10, 15, 20, 25, 30}));
}

TEST(Tree, BadArgumentsLeaveTreesIntact)
{
	Tree<KeyNode> tree;
	Tree<KeyNode> other;
	KeyNode a(1), b(2), outsider(3), stranger(4);
	InsertByKey(tree, &a);
	InsertByKey(tree, &b);
	InsertByKey(other, &stranger);
	tree.InsertLeft(&a, &a);
	tree.InsertRight(nullptr, &outsider);
	tree.InsertRight(&a, nullptr);
	tree.InsertRoot(nullptr);
	tree.Remove(nullptr);
	tree.Remove(&outsider);
	tree.Remove(&stranger);
	EXPECT_EQ(CheckTree(tree), (Keys{1, 2}));
	EXPECT_EQ(CheckTree(other), (Keys{4}));
	// A parent from another tree cannot take the node.
	tree.InsertRight(&stranger, &outsider);
	EXPECT_EQ(outsider.GetOwningTree(), nullptr);
	EXPECT_EQ(CheckTree(other), (Keys{4}));
}

TEST(Tree, MovingANodeBetweenTrees)
{
	Tree<KeyNode> first;
	Tree<KeyNode> second;
	std::vector<KeyNode*> nodes;
	for (int32_t key = 0; key < 20; key++)
	{
		nodes.push_back(new KeyNode(key));
		InsertByKey(first, nodes.back());
	}
	KeyNode* moved = first.GetRoot();
	int32_t movedKey = moved->key;
	second.InsertRoot(moved);
	EXPECT_EQ(moved->GetOwningTree(), &second);
	Keys remaining = CheckTree(first);
	EXPECT_EQ(remaining.size(), 19u);
	EXPECT_EQ(std::find(remaining.begin(), remaining.end(), movedKey), remaining.end());
	EXPECT_EQ(CheckTree(second), (Keys{movedKey}));
	// Reinserting a node of the same tree moves it.
	KeyNode* last = first.Last();
	first.InsertLeft(first.First(), last);
	Keys order;
	for (KeyNode* node = first.First(); node; node = Tree<KeyNode>::Next(node)) order.push_back(node->key);
	EXPECT_EQ(order.front(), 19);
	EXPECT_EQ(order.size(), 19u);
	first.Purge();
	second.Purge();
}

TEST(Tree, DestructionUnlinks)
{
	KeyNode::destroyed = 0;
	Tree<KeyNode> tree;
	KeyNode kept(100);
	{
		KeyNode a(1), b(2), c(3);
		InsertByKey(tree, &a);
		InsertByKey(tree, &b);
		InsertByKey(tree, &c);
		InsertByKey(tree, &kept);
	}
	EXPECT_EQ(CheckTree(tree), (Keys{100}));
	{
		Tree<KeyNode> doomed;
		KeyNode x(5);
		InsertByKey(doomed, &x);
		doomed.Remove(&x);
		InsertByKey(doomed, &kept);
	}
	EXPECT_EQ(kept.GetOwningTree(), nullptr);
	EXPECT_EQ(kept.GetTreeParent(), nullptr);
	EXPECT_TRUE(tree.IsEmpty());
	for (int32_t i = 0; i < 10; i++) InsertByKey(tree, new KeyNode(i));
	KeyNode::destroyed = 0;
	tree.Purge();
	EXPECT_EQ(KeyNode::destroyed, 10);
	EXPECT_TRUE(tree.IsEmpty());
}

// Random inserts and removals against a sorted model, every invariant checked.
TEST(Tree, RandomOperationsKeepInvariants)
{
	std::mt19937 random(2024);
	Tree<KeyNode> tree;
	std::vector<KeyNode*> inside;
	Keys model;
	for (int32_t step = 0; step < 4000; step++)
	{
		bool insert = inside.empty() || (random() % 100) < 55;
		if (insert)
		{
			KeyNode* node = new KeyNode(int32_t(random() % 500));
			InsertByKey(tree, node);
			inside.push_back(node);
			model.insert(std::upper_bound(model.begin(), model.end(), node->key), node->key);
		}
		else
		{
			size_t index = random() % inside.size();
			KeyNode* node = inside[index];
			inside.erase(inside.begin() + int64_t(index));
			model.erase(std::find(model.begin(), model.end(), node->key));
			if (random() % 2) tree.Remove(node);
			delete node;
		}
		if (step % 25 == 0)
		{
			ASSERT_EQ(CheckTree(tree), model) << "step " << step;
		}
	}
	EXPECT_EQ(CheckTree(tree), model);
	tree.Purge();
}
