// VectorStructure: the document classes' common base, the matrix and node families, and the grouping structures.
#pragma once

#include <cstdint>

#include "description/Primitive.h"
#include "description/Structure.h"
#include "support/Math.h"
#include "support/String.h"

class TextWriter;
class VectorDocument;

// Base of every class that the document's factory makes. Each concrete class
// writes itself back as text.
class VectorStructure : public Structure
{
	public:

		explicit VectorStructure(uint32_t type, uint32_t baseType = 0);

		virtual void WriteStructure(const VectorDocument* document, TextWriter* writer) const = 0;

		// A structure written as its identifier and a braced block of its
		// subnodes gives that identifier, and whether a blank line goes
		// first; the writer walks into such blocks itself, so nesting of any
		// depth costs no stack. Null for a structure that writes itself whole.
		virtual const char* BlockIdentifier(bool* newlineFirst) const;
};

// Family 'mtrx': a structure that stands for one transform. `matrix` holds
// 16 floats by columns and is the identity until processed.
class MatrixStructure : public VectorStructure
{
	public:

		Transform4D matrix;

	protected:

		explicit MatrixStructure(uint32_t type);
};

// Family 'node': a structure that passes its matrix on to what it holds.
// `matrix` is its world transform once the document has been processed.
class NodeStructure : public VectorStructure
{
	public:

		Transform4D matrix;

	protected:

		explicit NodeStructure(uint32_t type);
};

// Sets the document's canvas from its first Range.
class CanvasStructure : public VectorStructure
{
	public:

		CanvasStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;
		const char* BlockIdentifier(bool* newlineFirst) const override;
};

// A name of a font; `text` points to the first string of its one string
// child (not owned), or is null before processing.
class NameStructure : public VectorStructure
{
	public:

		NameStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		uint32_t ProcessData(Document* document) override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		const String* text;
};

// A message of a font; the text stays in its string child.
class MessageStructure : public VectorStructure
{
	public:

		MessageStructure();

		bool ValidateProperty(const Document* document, const String& identifier, uint32_t* type, void** value) override;
		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;

		String kind;
};

// A picture of its own; holds shapes and groups, and no transform.
class LayerStructure : public VectorStructure
{
	public:

		LayerStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;
		const char* BlockIdentifier(bool* newlineFirst) const override;
		bool ProcessesSubnodesOnly() const override;
};

// Groups shapes without passing a transform on.
class ObjectStructure : public VectorStructure
{
	public:

		ObjectStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;
		const char* BlockIdentifier(bool* newlineFirst) const override;
		bool ProcessesSubnodesOnly() const override;
};

// Passes its transforms and its opacity on to what it holds. Its Fill and
// Stroke are accepted and never read.
class GroupStructure : public NodeStructure
{
	public:

		GroupStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;
		const char* BlockIdentifier(bool* newlineFirst) const override;
		bool ProcessesSubnodesOnly() const override;
};

// Holds a reference and a transform; nothing resolves the reference, so an
// Instance draws nothing.
class InstanceStructure : public NodeStructure
{
	public:

		InstanceStructure();

		bool ValidateSubstructure(const Document* document, const Structure* structure) const override;
		void WriteStructure(const VectorDocument* document, TextWriter* writer) const override;
		const char* BlockIdentifier(bool* newlineFirst) const override;
		bool ProcessesSubnodesOnly() const override;
};

// Whether `structure` is a data list of that type code and array size
// (0 for a plain list).
bool IsDataList(const Structure* structure, uint32_t type, uint32_t arraySize);

// The shared check of the classes that hold exactly one data list: 'MSSB'
// without a subnode, 'EXSB' with more than one, else 0 with the list.
uint32_t FindSingleDataList(const Structure* structure, const Structure** list);
