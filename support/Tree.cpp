#include "support/Tree.h"

TreeNodeBase::~TreeNodeBase()
{
	if (owner) owner->Remove(this);
}

// Takes the nodes out leaf by leaf; no balance matters any more, so nothing is
// rotated, and no node keeps a link into the dead tree.
TreeBase::~TreeBase()
{
	while (root)
	{
		TreeNodeBase* node = root;
		while (node->left || node->right) node = node->left ? node->left : node->right;
		TreeNodeBase* up = node->parent;
		if (!up) root = nullptr;
		else if (up->left == node) up->left = nullptr;
		else up->right = nullptr;
		node->parent = nullptr;
		node->owner = nullptr;
		node->balance = 0;
	}
}

void TreeBase::InsertRoot(TreeNodeBase* node)
{
	if (!node) return;
	if (node->owner) node->owner->Remove(node);
	if (root)
	{
		TreeNodeBase* first = FirstBase();
		Attach(first, node, true);
		return;
	}
	node->parent = nullptr;
	node->left = nullptr;
	node->right = nullptr;
	node->balance = 0;
	node->owner = this;
	root = node;
}

void TreeBase::InsertLeft(TreeNodeBase* parent, TreeNodeBase* node)
{
	if (!node || !parent || node == parent) return;
	if (node->owner) node->owner->Remove(node);
	if (parent->owner != this) return;
	if (!parent->left)
	{
		Attach(parent, node, true);
		return;
	}
	TreeNodeBase* before = parent->left;
	while (before->right) before = before->right;
	Attach(before, node, false);
}

void TreeBase::InsertRight(TreeNodeBase* parent, TreeNodeBase* node)
{
	if (!node || !parent || node == parent) return;
	if (node->owner) node->owner->Remove(node);
	if (parent->owner != this) return;
	if (!parent->right)
	{
		Attach(parent, node, false);
		return;
	}
	TreeNodeBase* after = parent->right;
	while (after->left) after = after->left;
	Attach(after, node, true);
}

// Links a new leaf and walks up: each node gains -1 from a left child and +1
// from a right one. A node that reaches 0 kept its height, so the walk ends;
// one that reaches 2 in either direction is rotated, which restores the height
// it had before the insert, so the walk ends there too.
void TreeBase::Attach(TreeNodeBase* parent, TreeNodeBase* node, bool leftSide)
{
	node->parent = parent;
	node->left = nullptr;
	node->right = nullptr;
	node->balance = 0;
	node->owner = this;
	if (leftSide) parent->left = node;
	else parent->right = node;

	TreeNodeBase* child = node;
	TreeNodeBase* up = parent;
	while (up)
	{
		up->balance += (up->left == child) ? -1 : 1;
		if (up->balance == 0) return;
		if (up->balance == 2 || up->balance == -2)
		{
			Rebalance(up);
			return;
		}
		child = up;
		up = up->parent;
	}
}

void TreeBase::Replace(TreeNodeBase* oldNode, TreeNodeBase* newNode)
{
	TreeNodeBase* up = oldNode->parent;
	if (!up) root = newNode;
	else if (up->left == oldNode) up->left = newNode;
	else up->right = newNode;
	if (newNode) newNode->parent = up;
}

void TreeBase::RotateLeft(TreeNodeBase* node)
{
	TreeNodeBase* pivot = node->right;
	node->right = pivot->left;
	if (pivot->left) pivot->left->parent = node;
	Replace(node, pivot);
	pivot->left = node;
	node->parent = pivot;
}

void TreeBase::RotateRight(TreeNodeBase* node)
{
	TreeNodeBase* pivot = node->left;
	node->left = pivot->right;
	if (pivot->right) pivot->right->parent = node;
	Replace(node, pivot);
	pivot->right = node;
	node->parent = pivot;
}

// Rotates a node whose balance reached +2 or -2 and returns the new top of its
// subtree. A child leaning the same way (or, after a removal, not at all) takes
// a single rotation; a child leaning the other way, a double one.
TreeNodeBase* TreeBase::Rebalance(TreeNodeBase* node)
{
	if (node->balance > 0)
	{
		TreeNodeBase* child = node->right;
		if (child->balance >= 0)
		{
			RotateLeft(node);
			if (child->balance == 0)
			{
				node->balance = 1;
				child->balance = -1;
			}
			else
			{
				node->balance = 0;
				child->balance = 0;
			}
			return child;
		}
		TreeNodeBase* grandchild = child->left;
		RotateRight(child);
		RotateLeft(node);
		node->balance = (grandchild->balance > 0) ? -1 : 0;
		child->balance = (grandchild->balance < 0) ? 1 : 0;
		grandchild->balance = 0;
		return grandchild;
	}

	TreeNodeBase* child = node->left;
	if (child->balance <= 0)
	{
		RotateRight(node);
		if (child->balance == 0)
		{
			node->balance = -1;
			child->balance = 1;
		}
		else
		{
			node->balance = 0;
			child->balance = 0;
		}
		return child;
	}
	TreeNodeBase* grandchild = child->right;
	RotateLeft(child);
	RotateRight(node);
	node->balance = (grandchild->balance < 0) ? 1 : 0;
	child->balance = (grandchild->balance > 0) ? -1 : 0;
	grandchild->balance = 0;
	return grandchild;
}

void TreeBase::Remove(TreeNodeBase* node)
{
	if (!node || node->owner != this) return;

	// `start` is the lowest node whose subtree lost height, on the side `fromLeft`.
	TreeNodeBase* start;
	bool fromLeft;
	if (node->left && node->right)
	{
		// The leftmost node of the right subtree takes the place of the node.
		TreeNodeBase* heir = node->right;
		while (heir->left) heir = heir->left;
		if (heir == node->right)
		{
			start = heir;
			fromLeft = false;
		}
		else
		{
			TreeNodeBase* heirParent = heir->parent;
			heirParent->left = heir->right;
			if (heir->right) heir->right->parent = heirParent;
			heir->right = node->right;
			node->right->parent = heir;
			start = heirParent;
			fromLeft = true;
		}
		heir->left = node->left;
		node->left->parent = heir;
		heir->balance = node->balance;
		Replace(node, heir);
	}
	else
	{
		TreeNodeBase* child = node->left ? node->left : node->right;
		start = node->parent;
		fromLeft = start && (start->left == node);
		Replace(node, child);
	}

	node->parent = nullptr;
	node->left = nullptr;
	node->right = nullptr;
	node->owner = nullptr;
	node->balance = 0;

	// Walk up while the subtree below kept shrinking. A balance that becomes
	// 1 or -1 means the height held; a rotation that leaves its top leaning
	// also keeps the height.
	TreeNodeBase* up = start;
	while (up)
	{
		up->balance += fromLeft ? 1 : -1;
		if (up->balance == 1 || up->balance == -1) return;
		TreeNodeBase* top = up;
		if (up->balance == 2 || up->balance == -2)
		{
			top = Rebalance(up);
			if (top->balance != 0) return;
		}
		TreeNodeBase* above = top->parent;
		if (above) fromLeft = (above->left == top);
		up = above;
	}
}

TreeNodeBase* TreeBase::FirstBase() const
{
	TreeNodeBase* node = root;
	if (node) while (node->left) node = node->left;
	return node;
}

TreeNodeBase* TreeBase::LastBase() const
{
	TreeNodeBase* node = root;
	if (node) while (node->right) node = node->right;
	return node;
}

TreeNodeBase* TreeBase::NextBase(const TreeNodeBase* node)
{
	if (!node) return nullptr;
	if (node->right)
	{
		TreeNodeBase* next = node->right;
		while (next->left) next = next->left;
		return next;
	}
	while (node->parent && node->parent->right == node) node = node->parent;
	return node->parent;
}

TreeNodeBase* TreeBase::PreviousBase(const TreeNodeBase* node)
{
	if (!node) return nullptr;
	if (node->left)
	{
		TreeNodeBase* previous = node->left;
		while (previous->right) previous = previous->right;
		return previous;
	}
	while (node->parent && node->parent->left == node) node = node->parent;
	return node->parent;
}
