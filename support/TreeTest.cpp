#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "support/Tree.h"

struct KeyNode : public TreeNode<KeyNode>
{
	inline static int32_t destroyed = 0;
	int32_t key;

	explicit KeyNode(int32_t k) : key(k) {}
	~KeyNode() { destroyed++; }
};

using Keys = std::vector<int32_t>;

// The caller's search: equal keys go to the right, so they stay in insertion order.
static void InsertByKey(Tree<KeyNode>& tree, KeyNode* node)
{
	KeyNode* at = tree.GetRoot();
	if (!at) tree.InsertRoot(node);
	while (at)
	{
		bool left = node->key < at->key;
		KeyNode* below = left ? at->GetTreeLeft() : at->GetTreeRight();
		if (!below) left ? tree.InsertLeft(at, node) : tree.InsertRight(at, node);
		at = below;
	}
}

// Checks links, owner, order and balance below `node`; returns the height.
static int32_t CheckSubtree(const Tree<KeyNode>& tree, const KeyNode* node, int32_t* count)
{
	if (!node) return 0;
	(*count)++;
	for (const KeyNode* child : {node->GetTreeLeft(), node->GetTreeRight()}) EXPECT_TRUE(!child || child->GetTreeParent() == node);
	int32_t leftHeight = CheckSubtree(tree, node->GetTreeLeft(), count);
	int32_t rightHeight = CheckSubtree(tree, node->GetTreeRight(), count);
	EXPECT_TRUE(node->GetOwningTree() == &tree && node->GetBalance() == rightHeight - leftHeight && std::abs(node->GetBalance()) <= 1) << "at key " << node->key;
	return 1 + std::max(leftHeight, rightHeight);
}

// Full check; returns the keys in order, as walked both ways.
static Keys CheckTree(const Tree<KeyNode>& tree)
{
	EXPECT_TRUE(!tree.GetRoot() || !tree.GetRoot()->GetTreeParent());
	int32_t count = 0;
	CheckSubtree(tree, tree.GetRoot(), &count);
	Keys keys, backwards;
	for (KeyNode* node = tree.First(); node; node = Tree<KeyNode>::Next(node)) keys.push_back(node->key);
	for (KeyNode* node = tree.Last(); node; node = Tree<KeyNode>::Previous(node)) backwards.insert(backwards.begin(), node->key);
	EXPECT_TRUE(int32_t(keys.size()) == count && backwards == keys) << count;
	return keys;
}

// Inserts `order`, removes the node keyed `removed` (if any) and checks the
// root: every rotation case on insertion, and removal by the leftmost node of
// the right subtree.
TEST(Tree, RotationsAndRemoval)
{
	struct Row { Keys order; int32_t removed; int32_t root; };
	const Row rows[] = {
		{{50, 20, 80, 10, 30, 25}, -1, 30},
		{{50, 20, 80, 90, 70, 60}, -1, 70},
		{{2, 1, 3}, 2, 3},
		{{20, 10, 40, 5, 30, 50, 35}, 20, 30},
		{{20, 10, 30, 40}, 10, 30},
		{{20, 10, 30, 25}, 10, 25},
		{{20, 10, 30, 40}, 30, 20},
		{{7}, 7, -1},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(::testing::PrintToString(row.order) + " less " + std::to_string(row.removed));
		Tree<KeyNode> tree;
		KeyNode* removed = nullptr;
		Keys expected;
		for (int32_t key : row.order)
		{
			KeyNode* node = new KeyNode(key);
			InsertByKey(tree, node);
			if (key == row.removed) removed = node;
			else expected.push_back(key);
		}
		if (removed) tree.Remove(removed);
		EXPECT_TRUE(!removed || (!removed->GetOwningTree() && !removed->GetTreeParent() && !removed->GetTreeRight()));
		std::sort(expected.begin(), expected.end());
		EXPECT_EQ(CheckTree(tree), expected);
		EXPECT_EQ(tree.GetRoot() ? tree.GetRoot()->key : -1, row.root);
		delete removed;
		KeyNode::destroyed = 0;
		tree.Purge();
		EXPECT_EQ(KeyNode::destroyed, int32_t(expected.size()));
		EXPECT_TRUE(tree.IsEmpty());
	}
}

// An occupied place inserts next to the parent in order; InsertRoot on a tree
// with nodes puts the node first; bad arguments change nothing.
TEST(Tree, InsertionPlacesAndBadArguments)
{
	Tree<KeyNode> tree, other;
	KeyNode a(10), b(20), c(30), d(15), e(25), f(1), outsider(3), stranger(4);
	InsertByKey(tree, &b);
	InsertByKey(tree, &a);
	InsertByKey(tree, &c);
	tree.InsertLeft(&b, &d);
	tree.InsertRight(&b, &e);
	tree.InsertRoot(&f);
	EXPECT_EQ(CheckTree(tree), (Keys{1, 10, 15, 20, 25, 30}));
	InsertByKey(other, &stranger);
	tree.InsertLeft(&a, &a);
	tree.InsertRight(nullptr, &outsider);
	tree.InsertRight(&a, nullptr);
	tree.InsertRoot(nullptr);
	tree.Remove(nullptr);
	tree.Remove(&outsider);
	tree.Remove(&stranger);
	tree.InsertRight(&stranger, &outsider);
	EXPECT_EQ(outsider.GetOwningTree(), nullptr);
	EXPECT_EQ(CheckTree(tree), (Keys{1, 10, 15, 20, 25, 30}));
	EXPECT_EQ(CheckTree(other), (Keys{4}));
	// Reinserting a node moves it, within a tree or to another one.
	tree.InsertLeft(tree.First(), &c);
	other.InsertRight(&stranger, &b);
	EXPECT_EQ(CheckTree(tree), (Keys{30, 1, 10, 15, 25}));
	EXPECT_EQ(CheckTree(other), (Keys{4, 20}));
	// A tree's destructor unlinks what it still holds.
	{
		Tree<KeyNode> doomed;
		InsertByKey(doomed, &outsider);
	}
	EXPECT_EQ(outsider.GetOwningTree(), nullptr);
}

// Random inserts and removals (or destruction alone) against a sorted model.
TEST(Tree, RandomOperationsKeepInvariants)
{
	std::mt19937 random(2024);
	Tree<KeyNode> tree;
	std::vector<KeyNode*> inside;
	Keys model;
	for (int32_t step = 0; step < 4000; step++)
	{
		if (inside.empty() || (random() % 100) < 55)
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
		if (step % 25 != 0) continue;
		ASSERT_EQ(CheckTree(tree), model) << "step " << step;
	}
	tree.Purge();
}
