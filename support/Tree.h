// Tree: the balanced (AVL) tree whose nodes carry their own keys and links.
#pragma once

#include <cstdint>

class TreeBase;

// The untyped links. `balance` is the height of the right subtree minus that
// of the left, -1, 0 or 1 between operations. A node is in at most one tree;
// destroying it takes it out.
class TreeNodeBase
{
	friend class TreeBase;

	public:

		TreeNodeBase() : parent(nullptr), left(nullptr), right(nullptr), owner(nullptr), balance(0) {}
		~TreeNodeBase();

		TreeNodeBase(const TreeNodeBase&) = delete;
		TreeNodeBase& operator=(const TreeNodeBase&) = delete;

		int32_t GetBalance() const { return balance; }

	protected:

		TreeNodeBase* parent;
		TreeNodeBase* left;
		TreeNodeBase* right;
		TreeBase* owner;
		int32_t balance;
};

// The balancing code, shared by every typed tree. The caller searches: it
// walks down from the root comparing keys and inserts at the leaf it reaches.
class TreeBase
{
	public:

		TreeBase() : root(nullptr) {}

		// Unlinks the nodes still held; the tree does not own them.
		~TreeBase();

		TreeBase(const TreeBase&) = delete;
		TreeBase& operator=(const TreeBase&) = delete;

		bool IsEmpty() const { return root == nullptr; }

		// Every insertion first takes the node out of the tree that holds it.
		// On a tree that already has nodes, InsertRoot puts the node first in order.
		void InsertRoot(TreeNodeBase* node);

		// Inserts `node` directly before `parent` in order: as its left child,
		// or, where that place is taken, behind the last node of its left
		// subtree. A `parent` from another tree leaves the node out of any tree.
		void InsertLeft(TreeNodeBase* parent, TreeNodeBase* node);

		// Inserts `node` directly behind `parent` in order.
		void InsertRight(TreeNodeBase* parent, TreeNodeBase* node);

		// A node of another tree, or of none, is left as it is.
		void Remove(TreeNodeBase* node);

		TreeNodeBase* GetRootBase() const { return root; }
		TreeNodeBase* FirstBase() const;
		TreeNodeBase* LastBase() const;
		static TreeNodeBase* NextBase(const TreeNodeBase* node);
		static TreeNodeBase* PreviousBase(const TreeNodeBase* node);

	protected:

		TreeNodeBase* root;

	private:

		void Attach(TreeNodeBase* parent, TreeNodeBase* node, bool leftSide);
		void Replace(TreeNodeBase* oldNode, TreeNodeBase* newNode);
		void RotateLeft(TreeNodeBase* node);
		void RotateRight(TreeNodeBase* node);
		TreeNodeBase* Rebalance(TreeNodeBase* node);
};

template <typename T> class Tree;

// A class T is filed in a tree by deriving from TreeNode<T> and holding its
// key itself.
template <typename T>
class TreeNode : public TreeNodeBase
{
	public:

		T* GetTreeParent() const { return static_cast<T*>(parent); }
		T* GetTreeLeft() const { return static_cast<T*>(left); }
		T* GetTreeRight() const { return static_cast<T*>(right); }
		Tree<T>* GetOwningTree() const { return static_cast<Tree<T>*>(owner); }
};

template <typename T>
class Tree : public TreeBase
{
	public:

		T* GetRoot() const { return Typed(root); }
		T* First() const { return Typed(FirstBase()); }
		T* Last() const { return Typed(LastBase()); }
		static T* Next(const T* node) { return Typed(NextBase(node)); }
		static T* Previous(const T* node) { return Typed(PreviousBase(node)); }

		void InsertRoot(T* node) { TreeBase::InsertRoot(node); }
		void InsertLeft(T* parent, T* node) { TreeBase::InsertLeft(parent, node); }
		void InsertRight(T* parent, T* node) { TreeBase::InsertRight(parent, node); }
		void Remove(T* node) { TreeBase::Remove(node); }

		// Destroys every node, for a tree that owns them.
		void Purge()
		{
			while (root)
			{
				T* node = Typed(root);
				TreeBase::Remove(root);
				delete node;
			}
		}

	private:

		static T* Typed(TreeNodeBase* node) { return static_cast<T*>(static_cast<TreeNode<T>*>(node)); }
};
