// Structure, RootStructure, Document: the tree of a description text and the parser that builds it.
#pragma once

#include <cstdint>

#include "support/ChildList.h"
#include "support/String.h"
#include "support/Tree.h"

class Document;

// A node of the description tree. A parent owns its subnodes: destroying a
// structure destroys its whole subtree (without recursion, however deep) and
// takes it out of its parent's list and out of the name map that holds it.
// Below the structure being destroyed, subnodes go first, deepest first, so a
// destructor must not walk its subnodes: they may already be gone.
//
// The name map links: a named structure is filed in the document's globalMap
// (a '$' name) or in its parent's localMap (a '%' name), ordered by the bytes
// of structureName. structureName must not change while the structure is filed.
class Structure : public ChildNode<Structure>, public TreeNode<Structure>
{
	public:

		explicit Structure(uint32_t type, uint32_t baseType = 0);

		// Virtual operations, in this slot order.
		virtual ~Structure();

		// Leaves the parent's list of subnodes; the structure is then owned by the caller.
		virtual void Detach();

		virtual void AppendSubnode(Structure* node);
		virtual void PrependSubnode(Structure* node);

		// Without `before` (or `after`) among the subnodes, these append (or prepend).
		virtual void InsertSubnodeBefore(Structure* node, Structure* before);
		virtual void InsertSubnodeAfter(Structure* node, Structure* after);

		// Takes `node` out of the list without destroying it; a node of another parent is left alone.
		virtual void RemoveSubnode(Structure* node);

		// Asks whether the structure has a property of that name. On true, `type`
		// receives the data type code of its value and `value` the address of
		// the field that the matching literal reader fills (bool*, float*,
		// String*, Reference*, ...). The default knows no property.
		virtual bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value);

		// Whether `structure` may stand directly below this one. Default true.
		virtual bool ValidateSubstructure(const Document* document, const Structure* structure) const;

		// Value of a state identifier of a sub-array list below this structure.
		// Default false: no state is known.
		virtual bool GetStateValue(const String& identifier, uint32_t* value) const;

		// Default: processes the subnodes in order and stops at the first failure,
		// recording the innermost failing structure in the document.
		virtual uint32_t ProcessData(Document* document);

		// True only for a structure whose processing is the default one and
		// nothing else: the default then walks into it instead of calling it.
		virtual bool ProcessesSubnodesOnly() const;

		Structure* GetFirstSubnode() const { return GetFirstChild(); }
		Structure* GetLastSubnode() const { return GetLastChild(); }
		Structure* GetPreviousSubnode() const { return GetPreviousSibling(); }
		Structure* GetNextSubnode() const { return GetNextSibling(); }
		Structure* GetSuperNode() const { return GetParent(); }

		// Files this structure under its structureName in `map`; false when the
		// name is taken there (the structure itself counts as free). A structure
		// filed elsewhere leaves that map first.
		bool FileName(Tree<Structure>* map);

		uint32_t structureType;
		uint32_t baseStructureType;
		String structureName;
		bool globalNameFlag;
		Tree<Structure> localMap;

		// Not owned; points into the parsed text and is valid only while that
		// text exists. Null for structures not made from text.
		const char* textLocation;

		Structure(const Structure&) = delete;
		Structure& operator=(const Structure&) = delete;
};

// The structure of type 0 at the top of every document.
class RootStructure : public Structure
{
	public:

		RootStructure();

		// Asks the document's ValidateTopLevelStructure.
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		bool ProcessesSubnodesOnly() const override;
};

// Owns a tree under rootStructure. Document classes supply the vocabulary by
// overriding the three virtual operations below the destructor.
class Document
{
	public:

		Document();
		virtual ~Document();

		// A new structure for a (non-primitive) identifier, or null when the
		// identifier is unknown. The default knows none.
		virtual Structure* CreateStructure(const String& identifier);

		// Whether a structure may stand at the top of the tree. Default true.
		virtual bool ValidateTopLevelStructure(const Structure* structure) const;

		// Default: rootStructure.ProcessData(this).
		virtual uint32_t ProcessDocument();

		// Replaces the tree with the one in `text` (NUL-terminated; null reads as
		// empty) and processes it. Returns 0 or a result code; errorLine tells
		// where. A syntax fault leaves the tree empty; a processing fault keeps it.
		uint32_t ParseText(const char* text);

		Tree<Structure> globalMap;
		RootStructure rootStructure;

		// Not owned: the innermost structure whose processing failed, or null.
		Structure* errorStructure;
		int32_t errorLine;

		Document(const Document&) = delete;
		Document& operator=(const Document&) = delete;
};

// The core of ParseText: parses structures at `*text` into `parent`
// until the end of the text or a '}'. On failure `*text` is at the fault and
// the structure being parsed is destroyed; its finished older siblings stay.
uint32_t ParseStructureList(Document* document, const char** text, Structure* parent);

// Parses `identifier = value, ...` behind a '(' up to (not including) the ')'.
uint32_t ParsePropertyList(Document* document, const char** text, Structure* structure);
