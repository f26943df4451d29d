// Visual check of picture albums: each drawing is compiled with `vorp -pict`,
// drawn by vorp-render, and drawn by the resvg reference rasteriser; the
// intersection over union of their alpha masks is printed per size.
//
//   npm install @resvg/resvg-js   (in any scratch folder; NODE_PATH points there)
//   NODE_PATH=<scratch>/node_modules node visual/compare.cjs build/tool out-dir a.svg b.svg ...
//
// Drawings should have a square viewBox and a single picture (no several
// top-level layers), so both images cover the same square.

const fs = require('fs');
const path = require('path');
const zlib = require('zlib');
const { execFileSync } = require('child_process');
const { Resvg } = require('@resvg/resvg-js');

const kSizes = [64, 128, 512];
// A pixel belongs to the mask from an eighth of the image's strongest alpha
// on. At one half, the reference's coarse edge levels (128 where the exact
// area gives 153) decide too many pixels; at a quarter, the threshold falls
// on the alpha of a stroke drawn at opacity 0.25 and measures only noise.
const kMaskFraction = 0.125;

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

function IoU(first, second) {
	let both = 0, either = 0;
	const cut = (pixels) => { let top = 0; for (let i = 3; i < pixels.length; i += 4) top = Math.max(top, pixels[i]); return Math.max(1, top * kMaskFraction); };
	const firstCut = cut(first), secondCut = cut(second);
	for (let i = 3; i < first.length; i += 4) {
		const a = first[i] >= firstCut, b = second[i] >= secondCut;
		if (a && b) both++;
		if (a || b) either++;
	}
	return either === 0 ? 1 : both / either;
}

const [toolDir, outDir, ...drawings] = process.argv.slice(2);
fs.mkdirSync(outDir, { recursive: true });
let worst = 1;
for (const drawing of drawings) {
	const name = path.basename(drawing, '.svg');
	const album = path.join(outDir, name + '.vorp');
	execFileSync(path.join(toolDir, 'vorp'), ['-pict', '-o', album, drawing]);
	const results = [];
	for (const size of kSizes) {
		const mine = path.join(outDir, `${name}-${size}.png`);
		execFileSync(path.join(toolDir, 'vorp-render'), [album, '-o', mine, '--size', String(size)]);
		const ours = DecodePng(fs.readFileSync(mine));
		const reference = new Resvg(fs.readFileSync(drawing), { fitTo: { mode: 'width', value: size } }).render();
		fs.writeFileSync(path.join(outDir, `${name}-${size}-resvg.png`), reference.asPng());
		if (reference.width !== ours.width || reference.height !== ours.height) { results.push(`${size}: skipped, not one square picture`); continue; }
		const score = IoU(ours.pixels, reference.pixels);
		worst = Math.min(worst, score);
		results.push(`${size}: ${score.toFixed(4)}`);
	}
	console.log(`${name.padEnd(24)} ${results.join('  ')}`);
}
console.log(`worst ${worst.toFixed(4)}`);
process.exit(worst >= 0.98 ? 0 : 1);
