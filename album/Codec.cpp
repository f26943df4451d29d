#include "album/Codec.h"

#include <cstring>

// Token families by their first byte: the top three bits choose.
//   000nnnnn          literals, 1 to 32
//   0x20 b | 0x21 w   literals, 33 to 288 | 289 to 65824
//   010lllll d        match of 4 to 35, distance 1 to 256
//   0x60 b d | 0x61 w d
//   100lllll e        match of 4 to 35, distance 1 to 65536
//   0xA0 b e | 0xA1 w e
//   0xC0 and up       end of the stream
// Multi-byte numbers are big-endian.

static constexpr uint32_t kWindowSize = 32768;
static constexpr uint32_t kHeadCount = 4096;
static constexpr uint32_t kChainLimit = 256;
static constexpr uint32_t kNoPosition = 0xFFFFFFFF;
static constexpr uint32_t kShortestMatch = 4;
static constexpr uint32_t kLongestLiteralToken = 65824;
static constexpr uint32_t kLongestMatchToken = 65827;
static constexpr uint32_t kShortDistanceLimit = 256;
static constexpr uint8_t kFiller = 0xE0;

// Match search. The window holds the last 32768 positions; a position p
// belongs to the chain of its first 12 bits, (input[p] << 4) | (input[p + 1]
// >> 4), which runs from the newest position to the oldest, and a search walks
// at most 256 nodes of it.
//
// What a search at p may see does not depend on the parse: every position
// below p has been inserted by then, whether it started a token or lay inside
// a match. So the links are built ahead in a plain pass over the input, and
// the parse only reads them. Each position gets `previous`, the newest earlier
// position whose first 4 bytes fall in the same bucket (only candidates that
// share the first 4 bytes can win, and they all lie on this finer chain, in
// the same order), and `order`, how many positions of its 12-bit chain came
// up to and including it. The difference of two orders is a place in the
// 12-bit chain, so the walk stops exactly where the 12-bit walk would have.
// Orders are kept modulo 2^16, exact since the window is smaller.
//
// The links live in a ring of twice the window, so a block of up to one
// window can be linked ahead while the window behind the search point stays
// intact. Heads are sized to the input, since clearing them is most of the
// work on a small image.
static constexpr uint32_t kLeastBucketBits = 8;
static constexpr uint32_t kMostBucketBits = 17;

struct CodecTables
{
	uint32_t* bucketHead;
	uint32_t* previous;
	uint16_t* order;
	uint16_t* chainCount;
	uint32_t ringMask;
	uint32_t bucketShift;
	// Positions below `linked` have their links.
	uint32_t linked;
};

struct CodecWriter
{
	uint8_t* data;
	uint32_t size;
	uint32_t capacity;
};

static inline uint32_t Load32(const uint8_t* bytes)
{
	uint32_t value;
	std::memcpy(&value, bytes, 4);
	return value;
}

// The first 12 bits of the two bytes read high byte first, which compilers
// turn into one 16-bit load.
static inline uint32_t HashAt(const uint8_t* input, uint32_t position)
{
	return ((uint32_t(input[position]) << 8) | uint32_t(input[position + 1])) >> 4;
}

// Links positions `tables->linked` to `until` - 1, each needing 4 bytes of
// input from it. Equal first 4 bytes give equal buckets on any byte order;
// only the spread of the others depends on it.
static void LinkPositions(CodecTables* tables, const uint8_t* input, uint32_t until)
{
	uint32_t* bucketHead = tables->bucketHead;
	uint32_t* previous = tables->previous;
	uint16_t* order = tables->order;
	uint16_t* chainCount = tables->chainCount;
	uint32_t ringMask = tables->ringMask;
	uint32_t bucketShift = tables->bucketShift;
	for (uint32_t position = tables->linked; position < until; position++)
	{
		uint32_t bucket = (Load32(input + position) * 0x9E3779B1u) >> bucketShift;
		uint32_t slot = position & ringMask;
		uint32_t hash = HashAt(input, position);
		uint16_t count = uint16_t(chainCount[hash] + 1);
		chainCount[hash] = count;
		order[slot] = count;
		previous[slot] = bucketHead[bucket];
		bucketHead[bucket] = position;
	}
	tables->linked = until;
}

// Counts how many leading bytes of `earlier` and `current` agree, up to `limit`.
// `earlier` lies before `current` in the same buffer and may overlap it.
static inline uint32_t CountMatch(const uint8_t* earlier, const uint8_t* current, uint32_t limit)
{
	uint32_t length = 0;
	while (limit - length >= 8)
	{
		uint64_t a;
		uint64_t b;
		std::memcpy(&a, earlier + length, 8);
		std::memcpy(&b, current + length, 8);
		uint64_t difference = a ^ b;
		if (difference != 0)
		{
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
			return length + uint32_t(__builtin_ctzll(difference) >> 3);
#else
			break;
#endif
		}
		length += 8;
	}
	while ((length < limit) && (earlier[length] == current[length])) length++;
	return length;
}

// A match is worth its length less the extra token bytes it needs: one from
// 36 bytes on, two from 292 on. Distance plays no part.
static inline uint32_t MatchScore(uint32_t length)
{
	uint32_t cost = 0;
	if (length >= 36) cost++;
	if (length >= 292) cost++;
	return length - cost;
}

// The shortest length whose score is strictly greater than that of `length`
// (0 for no match yet). Scores never fall as lengths grow, so a candidate wins
// exactly when it reaches this length; that lets the walk test one byte
// before counting.
static inline uint32_t LengthToBeat(uint32_t length)
{
	if (length < kShortestMatch) return kShortestMatch;
	uint32_t next = length + 1;
	if (MatchScore(next) == MatchScore(length)) next++;
	return next;
}

static inline bool WriteBytes(CodecWriter* writer, const uint8_t* bytes, uint32_t count)
{
	if (writer->capacity - writer->size < count) return false;
	std::memcpy(writer->data + writer->size, bytes, count);
	writer->size += count;
	return true;
}

// One literal token of 1 to 65824 bytes, in its shortest family.
static bool WriteLiteralToken(CodecWriter* writer, const uint8_t* bytes, uint32_t count)
{
	uint8_t header[3];
	uint32_t headerSize;
	if (count <= 32)
	{
		header[0] = uint8_t(count - 1);
		headerSize = 1;
	}
	else if (count <= 288)
	{
		header[0] = 0x20;
		header[1] = uint8_t(count - 33);
		headerSize = 2;
	}
	else
	{
		uint32_t w = count - 289;
		header[0] = 0x21;
		header[1] = uint8_t(w >> 8);
		header[2] = uint8_t(w);
		headerSize = 3;
	}
	if (writer->capacity - writer->size < headerSize + count) return false;
	return WriteBytes(writer, header, headerSize) && WriteBytes(writer, bytes, count);
}

static bool WriteLiterals(CodecWriter* writer, const uint8_t* bytes, uint32_t count)
{
	while (count > kLongestLiteralToken)
	{
		if (!WriteLiteralToken(writer, bytes, kLongestLiteralToken)) return false;
		bytes += kLongestLiteralToken;
		count -= kLongestLiteralToken;
	}
	if (count == 0) return true;
	return WriteLiteralToken(writer, bytes, count);
}

// One match token of 4 to 65827 bytes, in its shortest family for the distance.
static bool WriteMatchToken(CodecWriter* writer, uint32_t length, uint32_t distance)
{
	uint8_t token[5];
	uint32_t size = 0;
	uint8_t family = (distance <= kShortDistanceLimit) ? 0x40 : 0x80;
	if (length <= 35)
	{
		token[size++] = uint8_t(family | (length - 4));
	}
	else if (length <= 291)
	{
		token[size++] = uint8_t(family | 0x20);
		token[size++] = uint8_t(length - 36);
	}
	else
	{
		uint32_t w = length - 292;
		token[size++] = uint8_t(family | 0x21);
		token[size++] = uint8_t(w >> 8);
		token[size++] = uint8_t(w);
	}
	uint32_t code = distance - 1;
	if (distance > kShortDistanceLimit) token[size++] = uint8_t(code >> 8);
	token[size++] = uint8_t(code);
	return WriteBytes(writer, token, size);
}

// `length` is never 65827 k + 1 to 3: the caller shortens such matches.
static bool WriteMatch(CodecWriter* writer, uint32_t length, uint32_t distance)
{
	while (length > kLongestMatchToken)
	{
		if (!WriteMatchToken(writer, kLongestMatchToken, distance)) return false;
		length -= kLongestMatchToken;
	}
	if (length == 0) return true;
	return WriteMatchToken(writer, length, distance);
}

uint32_t Compress(const void* inputData, uint32_t inputSize, void* outputData)
{
	if (inputSize < 4) return 0;
	const uint8_t* input = static_cast<const uint8_t*>(inputData);
	CodecWriter writer = {static_cast<uint8_t*>(outputData), 0, inputSize};
	uint32_t literalStart = 0;

	// Under 6 bytes the search is skipped and every byte goes out as a literal.
	if (inputSize >= 6)
	{
		// One allocation sized to the input: a ring no larger than the input
		// holds every position, since a slot is its position then. Buckets
		// number up to twice the positions, as a bucket shared by two 4-byte
		// values costs the search a step on every visit.
		uint32_t bucketBits = kLeastBucketBits;
		while ((bucketBits < kMostBucketBits) && ((size_t(1) << bucketBits) < 2 * size_t(inputSize))) bucketBits++;
		uint32_t ring = 1;
		while ((ring < 2 * kWindowSize) && (ring < inputSize)) ring <<= 1;
		size_t words = (size_t(1) << bucketBits) + size_t(ring) + (size_t(ring) + kHeadCount) / 2;
		uint32_t* storage = new uint32_t[words];
		CodecTables tableSet;
		CodecTables* tables = &tableSet;
		tables->bucketHead = storage;
		tables->previous = storage + (size_t(1) << bucketBits);
		tables->order = reinterpret_cast<uint16_t*>(tables->previous + ring);
		tables->chainCount = tables->order + ring;
		tables->ringMask = ring - 1;
		tables->bucketShift = 32 - bucketBits;
		tables->linked = 0;
		std::memset(tables->bucketHead, 0xFF, sizeof(uint32_t) << bucketBits);
		std::memset(tables->chainCount, 0, sizeof(uint16_t) * kHeadCount);

		// The last position a search reads links of is inputSize - 5.
		uint32_t lastLinked = inputSize - 4;
		uint32_t p = 1;
		while (inputSize - p >= 5)
		{
			if (p >= tables->linked) LinkPositions(tables, input, (lastLinked - p > kWindowSize) ? p + kWindowSize : lastLinked);
			uint32_t remaining = inputSize - p;
			const uint8_t* current = input + p;
			uint32_t first = Load32(current);
			uint32_t windowStart = (p > kWindowSize) ? p - kWindowSize : 0;
			uint32_t candidate = tables->previous[p & tables->ringMask];
			bool chained = (candidate != kNoPosition) && (candidate >= windowStart);
			// A run of the previous byte needs its first 4 bytes equal to
			// those one back; most positions have neither that nor a chain.
			bool run = (Load32(current - 1) == first);
			if (!run && !chained)
			{
				p++;
				continue;
			}

			// A run of the previous byte comes first and wins every tie.
			uint32_t bestLength = 0;
			uint32_t bestDistance = 1;
			if (run) bestLength = kShortestMatch + CountMatch(current + 3, current + 4, remaining - 4);

			// Walk the chain, newest first, for at most 256 nodes. A candidate
			// replaces the best only with a strictly better score, so the newest
			// of equals stays. The walk ends early once no candidate can win,
			// which also covers a candidate that reached the end of the input.
			uint32_t needed = LengthToBeat(bestLength);
			if (chained && (needed <= remaining))
			{
				// The orders count p itself, so a place of 256 or more reads
				// as a difference above 256.
				uint16_t ownOrder = tables->order[p & tables->ringMask];
				do
				{
					uint32_t slot = candidate & tables->ringMask;
					const uint8_t* earlier = input + candidate;
					// A position whose first 4 bytes only hash alike is on
					// another 12-bit chain, and its place counts there: step
					// over it.
					if (Load32(earlier) == first)
					{
						if (uint16_t(ownOrder - tables->order[slot]) > kChainLimit) break;
						// The 4 bytes that end at the length to beat go first:
						// a candidate that differs there cannot win.
						if (Load32(earlier + needed - 4) == Load32(current + needed - 4))
						{
							uint32_t length = CountMatch(earlier, current, remaining);
							if (length >= needed)
							{
								bestLength = length;
								bestDistance = p - candidate;
								needed = LengthToBeat(length);
								if (needed > remaining) break;
							}
						}
					}
					candidate = tables->previous[slot];
				}
				while ((candidate != kNoPosition) && (candidate >= windowStart));
			}

			if (bestLength == 0)
			{
				p++;
				continue;
			}

			// Deliberate: no token holds a match rest of 1 to 3 bytes, so a
			// match over 65827 bytes that would leave one is cut back to a
			// whole number of 65827-byte tokens; the cut bytes are coded
			// afresh from the next position.
			uint32_t rest = bestLength % kLongestMatchToken;
			if ((bestLength > kLongestMatchToken) && (rest != 0) && (rest < kShortestMatch)) bestLength -= rest;

			if (!WriteLiterals(&writer, input + literalStart, p - literalStart) || !WriteMatch(&writer, bestLength, bestDistance))
			{
				delete[] storage;
				return 0;
			}
			p += bestLength;
			literalStart = p;
		}
		delete[] storage;
	}

	if (!WriteLiterals(&writer, input + literalStart, inputSize - literalStart)) return 0;
	while ((writer.size & 3) != 0)
	{
		if (!WriteBytes(&writer, &kFiller, 1)) return 0;
	}
	return writer.size;
}

// Reads a big-endian number of `count` bytes (1 or 2) at `*position`.
static inline bool ReadNumber(const uint8_t* input, uint32_t inputSize, uint32_t* position, uint32_t count, uint32_t* value)
{
	if (inputSize - *position < count) return false;
	uint32_t result = input[*position];
	if (count == 2) result = (result << 8) | input[*position + 1];
	*position += count;
	*value = result;
	return true;
}

// Copies forward from `distance` bytes back, so a distance shorter than the
// length repeats the pattern. The caller has checked both ends.
static inline void CopyMatch(uint8_t* destination, uint32_t length, uint32_t distance)
{
	const uint8_t* source = destination - distance;
	if (distance == 1)
	{
		std::memset(destination, *source, length);
		return;
	}
	if (distance >= length)
	{
		std::memcpy(destination, source, length);
		return;
	}
	if (distance < 8)
	{
		// The output repeats with this period, and so with any multiple of it:
		// once a multiple of 8 or more lies behind, whole words can be copied.
		uint32_t period = distance;
		while (period < 8) period += distance;
		uint32_t lead = period - distance;
		if (lead > length) lead = length;
		for (uint32_t i = 0; i < lead; i++) destination[i] = source[i];
		destination += lead;
		length -= lead;
		source = destination - period;
	}
	while (length >= 8)
	{
		std::memcpy(destination, source, 8);
		destination += 8;
		source += 8;
		length -= 8;
	}
	for (uint32_t i = 0; i < length; i++) destination[i] = source[i];
}

// Whole words in little-endian order, so the shifts and products below
// mean the same bytes on any machine.
static inline uint64_t LoadWord(const uint8_t* bytes)
{
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
	uint64_t value;
	std::memcpy(&value, bytes, 8);
	return value;
#else
	uint64_t value = 0;
	for (int i = 7; i >= 0; i--) value = (value << 8) | bytes[i];
	return value;
#endif
}

static inline void StoreWord(uint8_t* bytes, uint64_t value)
{
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
	std::memcpy(bytes, &value, 8);
#else
	for (int i = 0; i < 8; i++) bytes[i] = uint8_t(value >> (8 * i));
#endif
}

// A match at a distance d under 8 repeats the d bytes behind it. Taken from
// the word that ends there (shifted down by `drop` bits) and multiplied by
// `spread`, whose set bytes lie d apart so no product carries, they fill a
// word with copies; from there the match goes on as a copy from `period` back,
// the least multiple of d from 8 up, whose words read only bytes already
// written. Index 8 stands for every distance from 8: the word is the 8 bytes
// d back as they are. One path for all distances spares the decoder a branch
// that real images make hard to predict.
struct Repeat
{
	uint64_t spread;
	uint8_t drop;
	uint8_t extra;
};

static constexpr Repeat kRepeats[9] = {
	{0, 0, 0},
	{0x0101010101010101u, 56, 7},
	{0x0001000100010001u, 48, 6},
	{0x0001000001000001u, 40, 6},
	{0x0000000100000001u, 32, 4},
	{0x0000010000000001u, 24, 5},
	{0x0001000000000001u, 16, 6},
	{0x0100000000000001u, 8, 7},
	{1, 0, 0},
};

uint32_t Decompress(const void* inputData, uint32_t inputSize, void* outputData, uint32_t outputSize)
{
	const uint8_t* input = static_cast<const uint8_t*>(inputData);
	uint8_t* output = static_cast<uint8_t*>(outputData);
	uint32_t position = 0;
	uint32_t written = 0;

	while (position < inputSize)
	{
		// Short tokens far from both ends, once 8 bytes are out, copy whole
		// blocks, the bytes past a token's own to be overwritten by the tokens
		// after it: 32 for literals, words of 8 for a match. The margins hold a
		// literal token and the match after it, 36 bytes of stream and 72 of
		// output. Every other token, and every token near an end, takes the
		// checked path below.
		const uint8_t* in = input + position;
		uint8_t* out = output + written;
		const uint8_t* inSafe = input + ((inputSize > 40) ? inputSize - 40 : 0);
		uint8_t* outSafe = output + ((outputSize > 72) ? outputSize - 72 : 0);
		if (written >= 8)
		{
			while ((in < inSafe) && (out < outSafe))
			{
				uint32_t first = *in;
				// Only literals of 1 to 32 and matches of 4 to 35: below 0xC0
				// with the 0x20 bit clear.
				if (((first + 0x40) & 0x120) != 0)
				{
					if (first != 0x20) break;
					// 33 to 288 literals, copied in blocks of 16 where both ends
					// leave room for the last block.
					size_t count = size_t(in[1]) + 33;
					if ((count > size_t(inSafe - in) + 23) || (count > size_t(outSafe - out) + 57)) break;
					for (size_t i = 0; i < count; i += 16) std::memcpy(out + i, in + 2 + i, 16);
					in += count + 2;
					out += count;
					continue;
				}
				if (first < 0x20)
				{
					std::memcpy(out, in + 1, 16);
					std::memcpy(out + 16, in + 17, 16);
					in += first + 2;
					out += first + 1;
					// The encoder follows literals with a match, and the
					// margins leave room for one: straight on to it.
					first = *in;
					if (((first + 0x40) & 0x120) != 0 || (first < 0x20)) continue;
				}
				size_t wide = first >> 7;
				size_t distance = ((size_t(in[1]) << (8 * wide)) | (in[2] & (0 - wide))) + 1;
				if (distance > size_t(out - output)) return 'DIST';
				const Repeat& repeat = kRepeats[(distance < 8) ? distance : 8];
				size_t back = (distance > 8) ? distance : 8;
				uint64_t word = (LoadWord(out - back) >> repeat.drop) * repeat.spread;
				size_t period = distance + repeat.extra;
				StoreWord(out, word);
				StoreWord(out + 8, LoadWord(out + 8 - period));
				size_t length = (first & 0x1F) + 4;
				if (length > 16)
				{
					for (size_t i = 16; i < length; i += 8) StoreWord(out + i, LoadWord(out + i - period));
				}
				in += wide + 2;
				out += length;
			}
		}
		position = uint32_t(in - input);
		written = uint32_t(out - output);
		if (position >= inputSize) break;

		uint32_t first = input[position++];
		if (first >= 0xC0) break;

		// Only whether the low 5 bits are zero tells the one-byte length form
		// from the two-byte form.
		uint32_t low = first & 0x1F;
		if (first < 0x40)
		{
			uint32_t count;
			if (first < 0x20)
			{
				count = low + 1;
			}
			else
			{
				uint32_t value;
				if (!ReadNumber(input, inputSize, &position, (low == 0) ? 1 : 2, &value)) return 'TRNC';
				count = value + ((low == 0) ? 33 : 289);
			}
			if (inputSize - position < count) return 'TRNC';
			if (outputSize - written < count) return 'OVFL';
			std::memcpy(output + written, input + position, count);
			position += count;
			written += count;
			continue;
		}

		uint32_t length;
		if ((first & 0x20) == 0)
		{
			length = low + 4;
		}
		else
		{
			uint32_t value;
			if (!ReadNumber(input, inputSize, &position, (low == 0) ? 1 : 2, &value)) return 'TRNC';
			length = value + ((low == 0) ? 36 : 292);
		}
		uint32_t distanceCode;
		if (!ReadNumber(input, inputSize, &position, (first & 0x80) ? 2 : 1, &distanceCode)) return 'TRNC';
		uint32_t distance = distanceCode + 1;
		if (distance > written) return 'DIST';
		if (outputSize - written < length) return 'OVFL';
		CopyMatch(output + written, length, distance);
		written += length;
	}

	if (written != outputSize) return 'SHRT';
	return 0;
}
