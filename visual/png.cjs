// 8-bit RGBA PNG reading and writing for the visual checks: enough for what
// vorp-render and the reference rasteriser write, with no package needed.

const zlib = require('zlib');

// Decodes an 8-bit RGBA, non-interlaced PNG, as vorp-render writes it.
function DecodePng(bytes) {
	let at = 8, width = 0, height = 0;
	const data = [];
	while (at < bytes.length) {
		const length = bytes.readUInt32BE(at);
		const type = bytes.toString('latin1', at + 4, at + 8);
		const body = bytes.subarray(at + 8, at + 8 + length);
		if (type === 'IHDR') {
			width = body.readUInt32BE(0);
			height = body.readUInt32BE(4);
			if (body[8] !== 8 || body[9] !== 6 || body[12] !== 0) throw new Error('not 8-bit RGBA');
		} else if (type === 'IDAT') data.push(body);
		at += 12 + length;
	}
	const raw = zlib.inflateSync(Buffer.concat(data));
	const stride = width * 4;
	const pixels = Buffer.alloc(stride * height);
	for (let y = 0; y < height; y++) {
		const filter = raw[y * (stride + 1)];
		for (let x = 0; x < stride; x++) {
			const value = raw[y * (stride + 1) + 1 + x];
			const a = x >= 4 ? pixels[y * stride + x - 4] : 0;
			const b = y > 0 ? pixels[(y - 1) * stride + x] : 0;
			const c = (x >= 4 && y > 0) ? pixels[(y - 1) * stride + x - 4] : 0;
			let predicted = 0;
			if (filter === 1) predicted = a;
			else if (filter === 2) predicted = b;
			else if (filter === 3) predicted = (a + b) >> 1;
			else if (filter === 4) {
				const p = a + b - c, pa = Math.abs(p - a), pb = Math.abs(p - b), pc = Math.abs(p - c);
				predicted = (pa <= pb && pa <= pc) ? a : (pb <= pc ? b : c);
			}
			pixels[y * stride + x] = (value + predicted) & 255;
		}
	}
	return { width, height, pixels };
}

const kCrcTable = (() => {
	const table = new Uint32Array(256);
	for (let n = 0; n < 256; n++) {
		let c = n;
		for (let k = 0; k < 8; k++) c = (c & 1) ? (0xEDB88320 ^ (c >>> 1)) : (c >>> 1);
		table[n] = c >>> 0;
	}
	return table;
})();

function Crc32(bytes) {
	let c = 0xFFFFFFFF;
	for (let i = 0; i < bytes.length; i++) c = kCrcTable[(c ^ bytes[i]) & 255] ^ (c >>> 8);
	return (c ^ 0xFFFFFFFF) >>> 0;
}

function Chunk(type, body) {
	const head = Buffer.alloc(8);
	head.writeUInt32BE(body.length, 0);
	head.write(type, 4, 'latin1');
	const crc = Buffer.alloc(4);
	crc.writeUInt32BE(Crc32(Buffer.concat([head.subarray(4), body])), 0);
	return Buffer.concat([head, body, crc]);
}

// Encodes straight RGBA bytes, every row unfiltered.
function EncodePng(width, height, pixels) {
	const header = Buffer.alloc(13);
	header.writeUInt32BE(width, 0);
	header.writeUInt32BE(height, 4);
	header[8] = 8;
	header[9] = 6;
	const stride = width * 4;
	const raw = Buffer.alloc((stride + 1) * height);
	for (let y = 0; y < height; y++) pixels.copy(raw, y * (stride + 1) + 1, y * stride, (y + 1) * stride);
	return Buffer.concat([
		Buffer.from([137, 80, 78, 71, 13, 10, 26, 10]),
		Chunk('IHDR', header),
		Chunk('IDAT', zlib.deflateSync(raw)),
		Chunk('IEND', Buffer.alloc(0)),
	]);
}

module.exports = { DecodePng, EncodePng };
