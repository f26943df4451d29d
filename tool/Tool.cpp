#include "tool/Tool.h"

#include <cstdlib>

#include "album/AlbumFile.h"
#include "album/IconCompiler.h"
#include "album/PictureCompiler.h"
#include "description/Literals.h"
#include "document/TextWriter.h"
#include "document/VectorDocument.h"
#include "font/FontAssembly.h"
#include "support/String.h"
#include "svg/SvgImporter.h"
#include "tool/Console.h"
#include "tool/Directory.h"
#include "tool/File.h"

// The longest path that directory mode builds, as the platform it was first
// written for allowed.
static const int32_t kMaxPathLength = 260;

// An input beyond this size is refused as unreadable rather than allocated.
static const uint64_t kMaxInputSize = 0x40000000;

static bool WriteToFile(const void* data, uint32_t size, void* handle)
{
	return static_cast<File*>(handle)->Write(data, size) == kFileOkay;
}

bool IsSvgName(const char* path)
{
	int32_t length = TextLength(path);
	if (length <= 4) return false;
	const char* ending = path + length - 4;
	return ending[0] == '.' && TextEqualNoCase(ending + 1, "svg");
}

bool LoadInput(const char* path, VectorDocument* document)
{
	File file;
	if (file.Open(path, kFileModeRead) != kFileOkay || file.GetSize() > kMaxInputSize)
	{
		PrintLine("Error: Cannot open input file:");
		PrintLine(path);
		return false;
	}

	// Zeroed, so a short read leaves a terminated, defined buffer.
	uint32_t size = uint32_t(file.GetSize());
	char* buffer = static_cast<char*>(std::calloc(size_t(size) + 1, 1));
	if (!buffer) std::abort();
	file.Read(buffer, size);
	file.Close();

	bool result = true;
	if (IsSvgName(path))
	{
		SvgImporter importer;
		if (importer.Import(buffer, &document->rootStructure) != 0)
		{
			PrintLine("Error: Invalid SVG input file:");
			PrintLine(path);
			result = false;
		}
		else
		{
			// Processing faults in imported drawings are stepped over.
			document->ProcessDocument();
		}
	}
	else
	{
		// Deliberate: a faulty Tessary text is reported and the run goes on
		// with what the parse left, empty after a syntax fault.
		if (document->ParseText(buffer) != 0)
		{
			PrintLine("Error: Invalid Tessary input file:");
			PrintLine(path);
		}
	}

	std::free(buffer);
	return result;
}

// Reads an option's integer value. False when it does not read as a 32-bit
// signed literal; the rest of the argument behind the literal is ignored.
static bool ReadIntegerOption(const char* text, int32_t* value)
{
	return ReadInt32(&text, value) == 0;
}

static bool ReadFloatOption(const char* text, float* value)
{
	return ReadFloat(&text, value) == 0;
}

static int32_t WriteExchangeOutput(VectorDocument* document, const char* exchangeName)
{
	File file;
	if (file.Open(exchangeName, kFileModeCreate) != kFileOkay)
	{
		PrintLine("Error: Cannot create Tessary output file.");
		return 1;
	}

	{
		// The writer flushes what it still holds when it goes.
		TextWriter writer(WriteToFile, &file);
		WriteExchangeDocument(document, &writer);
	}

	file.Close();
	return 0;
}

static int32_t RunDirectoryMode(VectorDocument* document, const char* inputName, const char* exchangeName)
{
	if (!inputName)
	{
		PrintLine("Error: No input directory name specified.");
		return 1;
	}

	if (!exchangeName)
	{
		PrintLine("Error: No output file name specified with -g option.");
		return 1;
	}

	DirectoryList list;
	int32_t count = ListDirectory(inputName, &list);
	VectorDocument** documents = nullptr;
	if (count > 0)
	{
		documents = static_cast<VectorDocument**>(std::calloc(size_t(count), sizeof(VectorDocument*)));
		if (!documents) std::abort();
	}

	for (int32_t i = 0; i < count; i++)
	{
		VectorDocument* loaded = new VectorDocument;

		char path[kMaxPathLength + 1];
		int32_t length = CopyText(inputName, path, kMaxPathLength);
		if (length < kMaxPathLength)
		{
			path[length++] = '/';
			path[length] = 0;
		}
		CopyText(list[i].name, path + length, kMaxPathLength - length);

		if (LoadInput(path, loaded))
		{
			documents[i] = loaded;
		}
		else
		{
			delete loaded;
			documents[i] = nullptr;
		}
	}

	AssembleFont(list, documents, document);

	for (int32_t i = count - 1; i >= 0; i--) delete documents[i];
	std::free(documents);

	return WriteExchangeOutput(document, exchangeName);
}

static int32_t RunSingleMode(VectorDocument* document, const char* inputName, const char* albumName,
		const char* exchangeName, bool pictureFlag, bool floatFlag, bool compressFlag)
{
	if (!inputName)
	{
		PrintLine("Error: No input file name specified.");
		return 1;
	}

	if (!albumName && !exchangeName)
	{
		PrintLine("Error: No output file name specified with -o option or -g option.");
		return 1;
	}

	if (!LoadInput(inputName, document)) return 1;

	if (albumName)
	{
		File file;
		if (file.Open(albumName, kFileModeCreate) != kFileOkay)
		{
			PrintLine("Error: Cannot create Vorp output file.");
			return 1;
		}

		AlbumSink sink;
		sink.write = WriteToFile;
		sink.handle = &file;
		sink.position = 0;

		uint32_t result = 0;
		if (pictureFlag)
		{
			result = CompilePictureAlbum(document, &sink, floatFlag, compressFlag);
		}
		else
		{
			result = CompileIconAlbum(document, &sink, compressFlag);
		}

		file.Close();
		if (result != 0)
		{
			PrintLine("Error: Album too large.");
			DeleteFile(albumName);
			return 1;
		}
	}

	if (exchangeName) return WriteExchangeOutput(document, exchangeName);
	return 0;
}

bool ReadOptions(int32_t argumentCount, char** arguments, VectorDocument* document, ToolOptions* options)
{
	for (int32_t i = 1; i < argumentCount; i++)
	{
		const char* argument = arguments[i];
		if (argument[0] != '-')
		{
			options->inputName = argument;
			continue;
		}

		const char* option = argument + 1;
		if (option[0] == 'o' && option[1] == 0)
		{
			if (i + 1 < argumentCount) options->albumName = arguments[++i];
		}
		else if (option[0] == 'g' && option[1] == 0)
		{
			if (i + 1 < argumentCount) options->exchangeName = arguments[++i];
		}
		else if (TextEqual(option, "pict"))
		{
			options->pictureFlag = true;
		}
		else if (TextEqual(option, "float"))
		{
			options->floatFlag = true;
		}
		else if (TextEqual(option, "font"))
		{
			options->fontFlag = true;
		}
		else if (TextEqual(option, "no-compress"))
		{
			options->compressFlag = false;
		}
		else if (TextEqual(option, "poly-vertex-count"))
		{
			// The vector ends in a null entry, which tells a missing value.
			const char* value = arguments[++i];
			if (!value)
			{
				PrintLine("Error: No polygon vertex count specified.");
				return false;
			}

			// Deliberate: any count is stored as given, without a clamp.
			if (!ReadIntegerOption(value, &document->polyVertexCount))
			{
				PrintLine("Error: Invalid polygon vertex count syntax.");
				return false;
			}
		}
		else if (TextEqual(option, "poly-edge-factor"))
		{
			const char* value = arguments[++i];
			if (!value)
			{
				PrintLine("Error: No polygon edge factor specified.");
				return false;
			}

			float factor = 0.0f;
			if (!ReadFloatOption(value, &factor))
			{
				PrintLine("Error: Invalid polygon edge factor syntax.");
				return false;
			}

			// Written so that a NaN also gives 0.
			document->polyEdgeFactor = (factor > 0.0f) ? factor : 0.0f;
		}
		else if (TextEqual(option, "max-band-count"))
		{
			const char* value = arguments[++i];
			if (!value)
			{
				PrintLine("Error: No max band count specified.");
				return false;
			}

			int32_t count = 0;
			if (!ReadIntegerOption(value, &count))
			{
				PrintLine("Error: Invalid max band count syntax.");
				return false;
			}

			document->maxBandCount = (count < 1) ? 1 : (count > 32) ? 32 : count;
		}

		// Anything else that begins with '-' is ignored, '-' alone included,
		// and the argument behind it is not consumed.
	}

	return true;
}

static int32_t RunWithDocument(VectorDocument* document, int32_t argumentCount, char** arguments)
{
	if (argumentCount < 2)
	{
		PrintLine("Error: No input file name specified.");
		return 1;
	}

	ToolOptions options;
	if (!ReadOptions(argumentCount, arguments, document, &options)) return 1;

	if (options.fontFlag) return RunDirectoryMode(document, options.inputName, options.exchangeName);
	return RunSingleMode(document, options.inputName, options.albumName, options.exchangeName,
			options.pictureFlag, options.floatFlag, options.compressFlag);
}

int32_t RunTool(int32_t argumentCount, char** arguments)
{
	VectorDocument* document = new VectorDocument;
	int32_t exitStatus = RunWithDocument(document, argumentCount, arguments);
	delete document;
	return exitStatus;
}
