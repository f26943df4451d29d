#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "support/ChildList.h"

struct Node : public ChildNode<Node>
{
	inline static int32_t destroyed = 0;
	int32_t id;

	explicit Node(int32_t i) : id(i) {}
	~Node() { destroyed++; }
};

using Ids = std::vector<int32_t>;

// Walks the children both ways, checking every link, and returns their ids.
static Ids Children(const Node& parent)
{
	Ids ids;
	Node* previous = nullptr;
	for (Node* child = parent.GetFirstChild(); child && ids.size() < 10000; previous = child, child = child->GetNextSibling())
	{
		EXPECT_TRUE(child->GetPreviousSibling() == previous && child->GetParent() == &parent) << "child " << child->id;
		ids.push_back(child->id);
	}
	EXPECT_EQ(parent.GetLastChild(), previous);
	return ids;
}

TEST(ChildList, InsertionsPlaceAndMoveChildren)
{
	Node parent(0), other(8);
	Node a(1), b(2), c(3), d(4), e(5), stranger(7);
	parent.AppendChild(&a);
	parent.AppendChild(&b);
	parent.PrependChild(&c);
	parent.InsertBefore(&d, &a);
	parent.InsertAfter(&e, &b);
	EXPECT_EQ(Children(parent), (Ids{3, 4, 1, 2, 5}));
	parent.InsertBefore(&e, &c);
	parent.InsertAfter(&c, &a);
	EXPECT_EQ(Children(parent), (Ids{5, 4, 1, 3, 2}));
	// A reference that is missing or not a child: before it appends, after it prepends.
	other.AppendChild(&stranger);
	parent.InsertBefore(&e, nullptr);
	parent.InsertAfter(&c, nullptr);
	parent.InsertBefore(&d, &stranger);
	parent.InsertAfter(&b, &stranger);
	EXPECT_EQ(Children(parent), (Ids{2, 3, 1, 5, 4}));
	parent.Detach(&a);
	parent.Detach(&e);
	EXPECT_EQ(a.GetParent(), nullptr);
	// Moving fixes both parents; detaching through the old one is ignored.
	other.AppendChild(&d);
	parent.Detach(&d);
	EXPECT_EQ(Children(parent), (Ids{2, 3}));
	EXPECT_EQ(Children(other), (Ids{7, 4}));
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
	root.AppendChild(nullptr);
	EXPECT_EQ(root.GetParent(), nullptr);
	EXPECT_EQ(Children(root), (Ids{1}));
	EXPECT_EQ(Children(middle), (Ids{2}));
	EXPECT_EQ(Children(leaf), Ids{});
}

// The walks and destruction over 0 { 1 { 2, 3 { 4 } }, 5, 6 { 7 } }; the
// random test below covers the walk from every root.
TEST(ChildList, WalksStayBelowTheRootAndDeletionTakesSubtrees)
{
	Node* nodes[8];
	const int32_t parents[8] = {-1, 0, 1, 1, 3, 0, 0, 6};
	for (int32_t i = 0; i < 8; i++) nodes[i] = new Node(i);
	for (int32_t i = 1; i < 8; i++) nodes[parents[i]]->AppendChild(nodes[i]);
	Ids ids;
	for (Node* n = Node::NextNode(nodes[1], nodes[1]); n && ids.size() < 100; n = Node::NextNode(nodes[1], n)) ids.push_back(n->id);
	EXPECT_EQ(ids, (Ids{2, 3, 4}));
	EXPECT_EQ(Node::NextNode(nodes[0], nullptr), nullptr);
	EXPECT_EQ(Node::NextNode(nodes[5], nodes[5]), nullptr);
	EXPECT_EQ(Node::NextSibling(nodes[0], nodes[1]), nodes[5]);
	EXPECT_EQ(Node::NextSibling(nodes[0], nodes[4]), nodes[5]);
	EXPECT_EQ(Node::NextSibling(nodes[1], nodes[3]), nullptr);
	Node::destroyed = 0;
	delete nodes[1];
	EXPECT_EQ(Node::destroyed, 4);
	EXPECT_EQ(Children(*nodes[0]), (Ids{5, 6}));
	delete nodes[0];
	EXPECT_EQ(Node::destroyed, 8);
}

// Random moves in a forest: every list stays consistent, and the pre-order
// walks from the roots together visit every node exactly once.
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
			for (Node* below = node; below && reached <= count; below = Node::NextNode(node, below)) reached++;
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
