#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "support/ChildList.h"

struct Node : public ChildNode<Node>
{
	static int32_t destroyed;
	int32_t id;

	explicit Node(int32_t i) : id(i) {}
	~Node() { destroyed++; }
};

int32_t Node::destroyed = 0;

using Ids = std::vector<int32_t>;

// Walks the children both ways, checking every link, and returns their ids.
static Ids Children(const Node& parent)
{
	Ids ids;
	Node* previous = nullptr;
	for (Node* child = parent.GetFirstChild(); child; child = child->GetNextSibling())
	{
		EXPECT_EQ(child->GetPreviousSibling(), previous);
		EXPECT_EQ(child->GetParent(), &parent);
		ids.push_back(child->id);
		previous = child;
		if (ids.size() > 10000) break;
	}
	EXPECT_EQ(parent.GetLastChild(), previous);
	return ids;
}

TEST(ChildList, InsertionsPlaceChildren)
{
	Node parent(0);
	Node a(1), b(2), c(3), d(4), e(5);
	parent.AppendChild(&a);
	parent.AppendChild(&b);
	parent.PrependChild(&c);
	EXPECT_EQ(Children(parent), (Ids{3, 1, 2}));
	parent.InsertBefore(&d, &a);
	EXPECT_EQ(Children(parent), (Ids{3, 4, 1, 2}));
	parent.InsertAfter(&e, &b);
	EXPECT_EQ(Children(parent), (Ids{3, 4, 1, 2, 5}));
	parent.InsertBefore(&e, &c);
	EXPECT_EQ(Children(parent), (Ids{5, 3, 4, 1, 2}));
	parent.InsertAfter(&c, &a);
	EXPECT_EQ(Children(parent), (Ids{5, 4, 1, 3, 2}));
	parent.Detach(&a);
	EXPECT_EQ(Children(parent), (Ids{5, 4, 3, 2}));
	EXPECT_EQ(a.GetParent(), nullptr);
	parent.Detach(&e);
	parent.Detach(&b);
	EXPECT_EQ(Children(parent), (Ids{4, 3}));
}

TEST(ChildList, MissingOrForeignReferenceFallsBackToAnEnd)
{
	struct Row
	{
		const char* name;
		bool before;
		bool foreign;
		Ids expected;
	};
	const Row rows[] = {
		{"before nothing appends", true, false, {1, 2, 9}},
		{"before a stranger appends", true, true, {1, 2, 9}},
		{"after nothing prepends", false, false, {9, 1, 2}},
		{"after a stranger prepends", false, true, {9, 1, 2}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.name);
		Node parent(0), other(8);
		Node a(1), b(2), child(9), stranger(7);
		parent.AppendChild(&a);
		parent.AppendChild(&b);
		other.AppendChild(&stranger);
		Node* reference = row.foreign ? &stranger : nullptr;
		if (row.before) parent.InsertBefore(&child, reference);
		else parent.InsertAfter(&child, reference);
		EXPECT_EQ(Children(parent), row.expected);
		EXPECT_EQ(Children(other), (Ids{7}));
	}
}

TEST(ChildList, MovingAChildFixesBothParents)
{
	struct Row
	{
		int32_t moved;
		Ids left;
	};
	const Row rows[] = {
		{1, {2, 3}},
		{2, {1, 3}},
		{3, {1, 2}},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(row.moved);
		Node source(0), target(10);
		Node a(1), b(2), c(3), t(11);
		source.AppendChild(&a);
		source.AppendChild(&b);
		source.AppendChild(&c);
		target.AppendChild(&t);
		Node* moved = (row.moved == 1) ? &a : (row.moved == 2) ? &b : &c;
		target.AppendChild(moved);
		EXPECT_EQ(Children(source), row.left);
		EXPECT_EQ(Children(target), (Ids{11, row.moved}));
		// Detaching through the old parent is ignored.
		source.Detach(moved);
		EXPECT_EQ(Children(target), (Ids{11, row.moved}));
		target.PrependChild(moved);
		EXPECT_EQ(Children(target), (Ids{row.moved, 11}));
	}
}

TEST(ChildList, RefusesToAdoptAnAncestor)
{
	Node root(0), middle(1), leaf(2);
	root.AppendChild(&middle);
	middle.AppendChild(&leaf);
	leaf.AppendChild(&root);
	middle.AppendChild(&middle);
	leaf.InsertBefore(&middle, nullptr);
	middle.PrependChild(&root);
	EXPECT_EQ(root.GetParent(), nullptr);
	EXPECT_EQ(Children(root), (Ids{1}));
	EXPECT_EQ(Children(middle), (Ids{2}));
	EXPECT_EQ(Children(leaf), Ids{});
	root.AppendChild(nullptr);
	EXPECT_EQ(Children(root), (Ids{1}));
}

// Builds 0 { 1 { 2, 3 { 4 } }, 5, 6 { 7 } } and walks it.
class ChildWalk : public ::testing::Test
{
	protected:

		Node* nodes[8];

		void SetUp() override
		{
			for (int32_t i = 0; i < 8; i++) nodes[i] = new Node(i);
			nodes[0]->AppendChild(nodes[1]);
			nodes[1]->AppendChild(nodes[2]);
			nodes[1]->AppendChild(nodes[3]);
			nodes[3]->AppendChild(nodes[4]);
			nodes[0]->AppendChild(nodes[5]);
			nodes[0]->AppendChild(nodes[6]);
			nodes[6]->AppendChild(nodes[7]);
		}

		void TearDown() override
		{
			delete nodes[0];
		}

		Ids Walk(Node* root)
		{
			Ids ids;
			for (Node* node = Node::NextNode(root, root); node; node = Node::NextNode(root, node))
			{
				ids.push_back(node->id);
				if (ids.size() > 100) break;
			}
			return ids;
		}
};

TEST_F(ChildWalk, NextNodeIsPreOrder)
{
	EXPECT_EQ(Walk(nodes[0]), (Ids{1, 2, 3, 4, 5, 6, 7}));
	// A walk below an inner node never leaves it, although that node has a
	// next sibling.
	EXPECT_EQ(Walk(nodes[1]), (Ids{2, 3, 4}));
	EXPECT_EQ(Walk(nodes[6]), (Ids{7}));
	EXPECT_EQ(Walk(nodes[5]), Ids{});
	EXPECT_EQ(Node::NextNode(nodes[0], nullptr), nullptr);
}

TEST_F(ChildWalk, NextSiblingStepsOverSubtrees)
{
	struct Row
	{
		int32_t root;
		int32_t node;
		int32_t expected;
	};
	const Row rows[] = {
		{0, 1, 5},
		{0, 3, 5},
		{0, 4, 5},
		{0, 2, 3},
		{0, 5, 6},
		{0, 6, -1},
		{0, 7, -1},
		{0, 0, -1},
		{1, 3, -1},
		{1, 2, 3},
		{3, 4, -1},
	};
	for (const Row& row : rows)
	{
		SCOPED_TRACE(std::to_string(row.root) + " " + std::to_string(row.node));
		Node* next = Node::NextSibling(nodes[row.root], nodes[row.node]);
		EXPECT_EQ(next ? next->id : -1, row.expected);
	}
}

TEST_F(ChildWalk, DestroyingANodeDestroysItsSubtreeAndLeavesItsParent)
{
	Node::destroyed = 0;
	delete nodes[1];
	EXPECT_EQ(Node::destroyed, 4);
	EXPECT_EQ(Children(*nodes[0]), (Ids{5, 6}));
	nodes[0]->PurgeChildren();
	EXPECT_EQ(Node::destroyed, 7);
	EXPECT_EQ(Children(*nodes[0]), Ids{});
}

// Random moves in a forest: every parent's list stays consistent, and the
// pre-order walks together visit every node exactly once.
TEST(ChildList, RandomMovesKeepEveryListConsistent)
{
	std::mt19937 random(5);
	const int32_t count = 30;
	std::vector<Node*> nodes;
	for (int32_t i = 0; i < count; i++) nodes.push_back(new Node(i));
	for (int32_t step = 0; step < 3000; step++)
	{
		Node* parent = nodes[random() % count];
		Node* child = nodes[random() % count];
		Node* reference = nodes[random() % count];
		switch (random() % 5)
		{
			case 0: parent->AppendChild(child); break;
			case 1: parent->PrependChild(child); break;
			case 2: parent->InsertBefore(child, reference); break;
			case 3: parent->InsertAfter(child, reference); break;
			default: if (child->GetParent()) child->GetParent()->Detach(child); break;
		}
		if (step % 50 != 0) continue;
		int32_t reached = 0;
		for (Node* node : nodes)
		{
			Children(*node);
			if (node->GetParent()) continue;
			reached++;
			for (Node* below = Node::NextNode(node, node); below; below = Node::NextNode(node, below))
			{
				reached++;
				ASSERT_LE(reached, count);
			}
		}
		ASSERT_EQ(reached, count);
	}
	for (Node* node : nodes) node->GetParent() ? node->GetParent()->Detach(node) : void();
	for (Node* node : nodes) delete node;
}

// A very deep chain is destroyed without one destructor call per level on the stack.
TEST(ChildList, DeepChainIsDestroyedWithoutRecursion)
{
	Node::destroyed = 0;
	// Built from the bottom up, so each insertion has no ancestors to check.
	Node* root = new Node(0);
	for (int32_t i = 1; i < 200000; i++)
	{
		Node* above = new Node(i);
		above->AppendChild(root);
		root = above;
	}
	delete root;
	EXPECT_EQ(Node::destroyed, 200000);
}
