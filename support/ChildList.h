// ChildNode: the child links of a tree of nodes, each owning its children in order.
#pragma once

#include <cstdint>

// A class T takes part by deriving from ChildNode<T>. A node is the child of
// at most one parent; every insertion first takes it from the parent that
// holds it, so moving a child is one call. A parent owns its children: the
// destructor deletes the subtree still attached (through T*, so T's
// destructor runs), then leaves its own parent.
template <typename T>
class ChildNode
{
	public:

		ChildNode() : previous(nullptr), next(nullptr), parent(nullptr), firstChild(nullptr), lastChild(nullptr) {}

		~ChildNode()
		{
			PurgeChildren();
			Leave();
		}

		ChildNode(const ChildNode&) = delete;
		ChildNode& operator=(const ChildNode&) = delete;

		T* GetPreviousSibling() const { return previous; }
		T* GetNextSibling() const { return next; }
		T* GetParent() const { return parent; }
		T* GetFirstChild() const { return firstChild; }
		T* GetLastChild() const { return lastChild; }

		void AppendChild(T* child)
		{
			if (!Adoptable(child)) return;
			Node(child)->Leave();
			Link(child, lastChild, nullptr);
		}

		void PrependChild(T* child)
		{
			if (!Adoptable(child)) return;
			Node(child)->Leave();
			Link(child, nullptr, firstChild);
		}

		// Puts `child` in front of `before`. Without a `before` among this
		// node's children, the child goes to the end.
		void InsertBefore(T* child, T* before)
		{
			if (!Adoptable(child) || child == before) return;
			Node(child)->Leave();
			if (before && Node(before)->parent == this) Link(child, Node(before)->previous, before);
			else Link(child, lastChild, nullptr);
		}

		// Puts `child` behind `after`. Without an `after` among this node's
		// children, the child goes to the front.
		void InsertAfter(T* child, T* after)
		{
			if (!Adoptable(child) || child == after) return;
			Node(child)->Leave();
			if (after && Node(after)->parent == this) Link(child, after, Node(after)->next);
			else Link(child, nullptr, firstChild);
		}

		// Takes `child` out of this node's list; a node held elsewhere is left alone.
		void Detach(T* child)
		{
			if (child && Node(child)->parent == this) Unlink(child);
		}

		// Deletes the whole subtree below this node, always a leaf at a time
		// from the last branch, so no destructor recurses however deep the tree.
		void PurgeChildren()
		{
			T* node = lastChild;
			while (node)
			{
				ChildNode* link = Node(node);
				if (link->lastChild)
				{
					node = link->lastChild;
					continue;
				}
				ChildNode* up = Node(link->parent);
				up->Unlink(node);
				delete node;
				node = (up == this) ? lastChild : static_cast<T*>(up);
			}
		}

		// Pre-order walk of the subtree below `root`: the node's first child,
		// else the next sibling of the node or of its nearest ancestor that has
		// one, without climbing past `root`.
		static T* NextNode(const T* root, const T* node)
		{
			if (!node) return nullptr;
			if (Node(node)->firstChild) return Node(node)->firstChild;
			return NextSibling(root, node);
		}

		// As NextNode, but steps over the subtree of `node`.
		static T* NextSibling(const T* root, const T* node)
		{
			while (node && node != root)
			{
				if (Node(node)->next) return Node(node)->next;
				node = Node(node)->parent;
			}
			return nullptr;
		}

	private:

		T* previous;
		T* next;
		T* parent;
		T* firstChild;
		T* lastChild;

		static ChildNode* Node(T* node) { return node; }
		static const ChildNode* Node(const T* node) { return node; }

		// A node cannot become its own descendant: the walks would never end.
		// A node without children can only be this one, so a fresh node is
		// adopted without climbing: building a deep tree stays linear.
		bool Adoptable(T* child) const
		{
			if (!child) return false;
			if (!Node(child)->firstChild) return Node(child) != this;
			for (const ChildNode* node = this; node; node = node->parent ? Node(node->parent) : nullptr)
			{
				if (node == Node(child)) return false;
			}
			return true;
		}

		void Leave()
		{
			if (parent) Node(parent)->Unlink(static_cast<T*>(this));
		}

		// Links a child that has left its parent between two neighbours in
		// this node's list.
		void Link(T* child, T* before, T* after)
		{
			ChildNode* node = Node(child);
			node->parent = static_cast<T*>(this);
			node->previous = before;
			node->next = after;
			if (before) Node(before)->next = child;
			else firstChild = child;
			if (after) Node(after)->previous = child;
			else lastChild = child;
		}

		void Unlink(T* child)
		{
			ChildNode* node = Node(child);
			if (node->previous) Node(node->previous)->next = node->next;
			else firstChild = node->next;
			if (node->next) Node(node->next)->previous = node->previous;
			else lastChild = node->previous;
			node->previous = nullptr;
			node->next = nullptr;
			node->parent = nullptr;
		}
};
