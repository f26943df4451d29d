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
const { execFileSync } = require('child_process');
const { Resvg } = require('@resvg/resvg-js');
const { DecodePng } = require('./png.cjs');

const kSizes = [64, 128, 512];
// A pixel belongs to the mask from an eighth of the image's strongest alpha
// on. At one half, the reference's coarse edge levels (128 where the exact
// area gives 153) decide too many pixels; at a quarter, the threshold falls
// on the alpha of a stroke drawn at opacity 0.25 and measures only noise.
const kMaskFraction = 0.125;

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
