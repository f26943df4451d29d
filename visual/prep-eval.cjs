// Measures how well real-world SVG survives a preparation step, `vorp -pict`
// and vorp-render, against the resvg reference rasteriser drawing the
// original file. visual/prep-eval.sh fetches the icon sets and calls this;
// run it directly to point it at any folders of SVG files:
//
//   NODE_PATH=<scratch>/node_modules node visual/prep-eval.cjs --tools build/tool \
//       --prep build/prep/vorp-prep --out /tmp/eval --set name=folder [--set ...]
//
// Options:
//   --tools DIR     holds vorp and vorp-render
//   --prep CMD      the preparation command, split on spaces; `{in}` and `{out}`
//                   stand for the two files, otherwise `IN -o OUT --report` is
//                   appended. `copy` passes the file through unchanged.
//   --out DIR       results; a rerun with the same tools and command keeps the
//                   rows already measured and measures only the rest
//   --set NAME=DIR  a set: every .svg file directly in DIR
//   --sample N      N files a set, drawn with a fixed seed (--seed S, default 1)
//   --only REGEX    only files whose name matches
//   --jobs N        files measured at once (default 2)
//   --size N        image side in pixels (default 128)
//   --threshold T   the IoU a file must reach (default 0.98)
//   --worst N       files listed a set in worst.txt and drawn in the sheets (default 40)
//   --fresh         forget earlier rows
//
// The score is the soft alpha IoU: sum(min(a, b)) / sum(max(a, b)) over every
// pixel's alpha in [0, 1]; two empty images score 1. Both images are the
// drawing's frame (its viewBox) fitted into a size x size square and centred
// along its shorter side, as vorp-render places a picture in its cell.
//
// A file under the threshold is drawn again at four times the size
// (iou_large): close to 1 there, it differs only in the antialiasing of its
// edges, not in its shapes. `coverage` is our total alpha over the
// reference's: well under 1 means missing shapes, well over 1 extra ones.
//
// Writes to --out: files.tsv (one row a file), summary.txt (the table printed
// at the end), worst.txt, below/SET/NAME.png (reference | vorp-render |
// difference, for every file under the threshold or failing) with the
// prepared SVG and the preparation's report beside it, and sheet-SET.png (the
// worst files of a set, one row each, in worst.txt's order).

const fs = require('fs');
const os = require('os');
const path = require('path');
const crypto = require('crypto');
const { execFile } = require('child_process');
const { Resvg } = require('@resvg/resvg-js');
const { DecodePng, EncodePng } = require('./png.cjs');

const kStepTimeoutMs = 60000;
const kColumns = ['set', 'file', 'prep', 'vorp', 'render', 'iou', 'report_lines', 'stage', 'iou_large', 'coverage'];
// A file under the threshold is measured again this many times larger: one
// that comes close there differs only in how edges are antialiased, which
// the narrow strokes of icons weigh heavily at small sizes.
const kLargeFactor = 4;
const kLargeClose = 0.99;

function ParseArguments(argv) {
	const options = { tools: 'build/tool', prep: null, out: null, sets: [], sample: 0, seed: 1, only: null, jobs: 2, size: 128, threshold: 0.98, worst: 40, fresh: false };
	for (let i = 0; i < argv.length; i++) {
		const name = argv[i];
		const value = () => {
			if (i + 1 >= argv.length) throw new Error(`${name} needs a value`);
			return argv[++i];
		};
		if (name === '--tools') options.tools = value();
		else if (name === '--prep') options.prep = value();
		else if (name === '--out') options.out = value();
		else if (name === '--set') {
			const text = value();
			const at = text.indexOf('=');
			if (at <= 0) throw new Error('--set needs NAME=DIR');
			options.sets.push({ name: text.slice(0, at), dir: text.slice(at + 1) });
		} else if (name === '--sample') options.sample = Number(value());
		else if (name === '--seed') options.seed = Number(value());
		else if (name === '--only') options.only = new RegExp(value());
		else if (name === '--jobs') options.jobs = Math.max(1, Number(value()));
		else if (name === '--size') options.size = Number(value());
		else if (name === '--threshold') options.threshold = Number(value());
		else if (name === '--worst') options.worst = Number(value());
		else if (name === '--fresh') options.fresh = true;
		else throw new Error(`unknown option ${name}`);
	}
	if (!options.prep) options.prep = path.join(options.tools, '..', 'prep', 'vorp-prep');
	if (!options.out) throw new Error('--out is needed');
	if (options.sets.length === 0) throw new Error('no --set given');
	return options;
}

// A small seeded generator, so that a sample is the same files on every run.
function Random(seed) {
	let state = seed >>> 0;
	return () => {
		state = (state + 0x6D2B79F5) >>> 0;
		let t = state;
		t = Math.imul(t ^ (t >>> 15), t | 1);
		t ^= t + Math.imul(t ^ (t >>> 7), t | 61);
		return ((t ^ (t >>> 14)) >>> 0) / 4294967296;
	};
}

function ListFiles(set, options) {
	let files = fs.readdirSync(set.dir).filter((name) => name.endsWith('.svg')).sort();
	if (options.only) files = files.filter((name) => options.only.test(name));
	if (options.sample > 0 && files.length > options.sample) {
		const random = Random(options.seed);
		for (let i = files.length - 1; i > 0; i--) {
			const j = Math.floor(random() * (i + 1));
			[files[i], files[j]] = [files[j], files[i]];
		}
		files = files.slice(0, options.sample).sort();
	}
	return files;
}

// What the results depend on besides the input: the command and the tools'
// files. A change to any of them starts the measurements over.
function Stamp(options, prepArgs) {
	const hash = crypto.createHash('sha256');
	hash.update(JSON.stringify([options.prep, options.size]));
	const binaries = [path.join(options.tools, 'vorp'), path.join(options.tools, 'vorp-render')];
	if (prepArgs[0] && fs.existsSync(prepArgs[0])) binaries.push(prepArgs[0]);
	for (const file of binaries) hash.update(fs.readFileSync(file));
	return hash.digest('hex');
}

function PrepArguments(command, input, output) {
	if (command === 'copy') return null;
	const words = command.split(/\s+/).filter((word) => word.length > 0);
	if (words.some((word) => word.includes('{in}'))) return words.map((word) => word.replace('{in}', input).replace('{out}', output));
	return [...words, input, '-o', output, '--report'];
}

function Run(args) {
	return new Promise((resolve) => {
		execFile(args[0], args.slice(1), { timeout: kStepTimeoutMs, maxBuffer: 16 << 20, encoding: 'utf8' }, (error, stdout, stderr) => {
			let status = 0;
			if (error) status = (typeof error.code === 'number') ? error.code : (error.killed ? 'timeout' : (error.signal || 'error'));
			resolve({ status, stdout: stdout || '', stderr: stderr || '' });
		});
	});
}

// The original drawn by the reference, its frame fitted into the square. A
// frame that is not square is centred at a whole pixel here and at a fraction
// in vorp-render, so its edges may differ by under half a pixel; the icon
// sets measured have square frames.
function RenderReference(svg, size) {
	const options = { font: { loadSystemFonts: false }, fitTo: { mode: 'width', value: size } };
	let tree = new Resvg(svg, options);
	if (tree.height > tree.width) tree = new Resvg(svg, { ...options, fitTo: { mode: 'height', value: size } });
	const image = tree.render();
	// Each read of `pixels` copies the whole image out of the rasteriser.
	const drawn = image.pixels;
	const pixels = Buffer.alloc(size * size * 4);
	const width = Math.min(size, image.width), height = Math.min(size, image.height);
	const left = (size - width) >> 1, top = (size - height) >> 1;
	for (let y = 0; y < height; y++) drawn.copy(pixels, ((top + y) * size + left) * 4, y * image.width * 4, (y * image.width + width) * 4);
	return pixels;
}

function SoftIoU(first, second) {
	let low = 0, high = 0;
	for (let i = 3; i < first.length; i += 4) {
		low += Math.min(first[i], second[i]);
		high += Math.max(first[i], second[i]);
	}
	return high === 0 ? 1 : low / high;
}

// Our total alpha over the reference's: under 1 where shapes went missing,
// over 1 where extra ones appeared; near 1 for edge differences.
function Coverage(reference, ours) {
	let first = 0, second = 0;
	for (let i = 3; i < reference.length; i += 4) {
		first += reference[i];
		second += ours[i];
	}
	return first === 0 ? (second === 0 ? '1.000' : 'inf') : (second / first).toFixed(3);
}

// Reference | ours | difference, each over white. In the difference, grey is
// covered by both, red only by the reference, blue only by ours. Only one of
// the two one-sided parts is non-zero, so no channel leaves 0..255.
function SideBySide(reference, ours, size) {
	const gap = 2, width = size * 3 + gap * 2;
	const pixels = Buffer.alloc(width * size * 4, 255);
	for (let y = 0; y < size; y++) {
		for (let x = 0; x < size; x++) {
			const i = (y * size + x) * 4;
			for (const [panel, image] of [[0, reference], [1, ours]]) {
				const o = (y * width + panel * (size + gap) + x) * 4;
				const a = image ? image[i + 3] / 255 : 0;
				for (let k = 0; k < 3; k++) pixels[o + k] = Math.round(255 * (1 - a) + (image ? image[i + k] : 0) * a);
			}
			const a = reference[i + 3] / 255, b = ours ? ours[i + 3] / 255 : 0;
			const both = Math.min(a, b), onlyReference = Math.max(0, a - b), onlyOurs = Math.max(0, b - a);
			const o = (y * width + 2 * (size + gap) + x) * 4;
			pixels[o] = Math.round(255 - 120 * both - 255 * onlyOurs);
			pixels[o + 1] = Math.round(255 - 120 * both - 255 * onlyReference - 255 * onlyOurs);
			pixels[o + 2] = Math.round(255 - 120 * both - 255 * onlyReference);
		}
	}
	return { width, height: size, pixels };
}

function WriteSideBySide(file, panels) {
	fs.writeFileSync(file, EncodePng(panels.width, panels.height, panels.pixels));
}

async function MeasureFile(set, name, options, work) {
	const size = options.size;
	const source = path.join(set.dir, name);
	const prepared = path.join(work, 'prepared.svg');
	const album = path.join(work, 'drawing.vorp');
	const image = path.join(work, 'drawing.png');
	for (const file of [prepared, album, image]) fs.rmSync(file, { force: true });
	const row = { set: set.name, file: name, prep: '', vorp: '', render: '', iou: '', report_lines: 0, stage: '', iou_large: '', coverage: '' };
	const keep = { report: '', log: '' };

	const prepArgs = PrepArguments(options.prep, source, prepared);
	if (prepArgs) {
		const prep = await Run(prepArgs);
		row.prep = prep.status;
		keep.report = prep.stdout + prep.stderr;
		row.report_lines = keep.report.split('\n').filter((line) => line.trim().length > 0).length;
	} else {
		fs.copyFileSync(source, prepared);
		row.prep = 0;
	}

	let reference = null;
	try {
		reference = RenderReference(fs.readFileSync(source), size);
	} catch (error) {
		row.stage = 'reference';
		keep.log = String(error);
	}

	let ours = null;
	// 0 is a clean preparation and 3 a lossy one; anything else, or no file,
	// stops the file here.
	const preparedOkay = (row.prep === 0 || row.prep === 3) && fs.existsSync(prepared);
	if (row.stage === '' && !preparedOkay) row.stage = 'prep';
	if (row.stage === '') {
		const vorp = await Run([path.join(options.tools, 'vorp'), '-pict', '-o', album, prepared]);
		row.vorp = vorp.status;
		keep.log += vorp.stdout + vorp.stderr;
		if (vorp.status !== 0 || !fs.existsSync(album)) row.stage = 'vorp';
	}
	if (row.stage === '') {
		const render = await Run([path.join(options.tools, 'vorp-render'), album, '-o', image, '--size', String(size)]);
		row.render = render.status;
		keep.log += render.stdout + render.stderr;
		if (render.status !== 0 || !fs.existsSync(image)) row.stage = 'render';
	}
	if (row.stage === '') {
		const decoded = DecodePng(fs.readFileSync(image));
		// Several top-level layers make several pictures side by side, which
		// cannot stand for the one reference image.
		if (decoded.width !== size || decoded.height !== size) row.stage = 'pictures';
		else ours = decoded.pixels;
	}
	if (row.stage === '') {
		const score = SoftIoU(reference, ours);
		row.iou = score.toFixed(4);
		row.coverage = Coverage(reference, ours);
		if (score < options.threshold) {
			row.stage = 'below';
			const large = size * kLargeFactor;
			const render = await Run([path.join(options.tools, 'vorp-render'), album, '-o', image, '--size', String(large)]);
			if (render.status === 0) row.iou_large = SoftIoU(RenderReference(fs.readFileSync(source), large), DecodePng(fs.readFileSync(image)).pixels).toFixed(4);
		}
	}

	if (row.stage !== '' && reference) {
		const folder = path.join(options.out, 'below', set.name);
		fs.mkdirSync(folder, { recursive: true });
		const stem = path.join(folder, path.basename(name, '.svg'));
		WriteSideBySide(stem + '.png', SideBySide(reference, ours, size));
		if (fs.existsSync(prepared)) fs.copyFileSync(prepared, stem + '.prepared.svg');
		fs.writeFileSync(stem + '.log', `report:\n${keep.report}\ntools:\n${keep.log}`);
	}
	return row;
}

function RowLine(row) {
	return kColumns.map((column) => String(row[column])).join('\t') + '\n';
}

function LoadRows(file) {
	const rows = new Map();
	if (!fs.existsSync(file)) return rows;
	const lines = fs.readFileSync(file, 'utf8').split('\n');
	for (const line of lines.slice(1)) {
		if (line.length === 0) continue;
		const values = line.split('\t');
		const row = {};
		kColumns.forEach((column, i) => { row[column] = values[i] === undefined ? '' : values[i]; });
		for (const column of ['prep', 'vorp', 'render', 'report_lines']) {
			if (/^-?\d+$/.test(row[column])) row[column] = Number(row[column]);
		}
		rows.set(`${row.set}/${row.file}`, row);
	}
	return rows;
}

// Ascending by score, files that never reached a score first.
function Worse(a, b) {
	const sa = a.iou === '' ? -1 : Number(a.iou), sb = b.iou === '' ? -1 : Number(b.iou);
	return sa - sb || a.file.localeCompare(b.file);
}

// Judged on the exact score when the file was measured: the four digits
// kept in the table may round a score under the threshold up to it.
function Passed(row) {
	return row.iou !== '' && row.stage === '';
}

function Percent(count, total) {
	return total === 0 ? '-' : (100 * count / total).toFixed(1) + '%';
}

function Summary(options, rows) {
	const header = ['set', 'files', 'iou>=' + options.threshold, 'prep fail', 'vorp fail', 'render fail', 'other fail', 'lossy (prep 3)', 'below, not reported', `below, >=${kLargeClose} at ${kLargeFactor}x`, 'mean iou'];
	const table = [header];
	for (const set of options.sets) {
		const mine = rows.filter((row) => row.set === set.name);
		const count = (test) => mine.filter(test).length;
		const scored = mine.filter((row) => row.iou !== '');
		const mean = scored.length ? scored.reduce((sum, row) => sum + Number(row.iou), 0) / scored.length : 0;
		const good = Passed;
		table.push([
			set.name, String(mine.length), Percent(count(good), mine.length),
			Percent(count((row) => row.stage === 'prep'), mine.length),
			Percent(count((row) => row.stage === 'vorp'), mine.length),
			Percent(count((row) => row.stage === 'render'), mine.length),
			Percent(count((row) => row.stage === 'pictures' || row.stage === 'reference' || row.stage === 'harness'), mine.length),
			Percent(count((row) => row.prep === 3), mine.length),
			String(count((row) => !good(row) && row.prep === 0 && row.report_lines === 0)),
			String(count((row) => row.stage === 'below' && row.iou_large !== '' && Number(row.iou_large) >= kLargeClose)),
			mean.toFixed(4),
		]);
	}
	const widths = header.map((_, c) => Math.max(...table.map((line) => line[c].length)));
	return table.map((line) => line.map((cell, c) => cell.padEnd(widths[c])).join('  ').trimEnd()).join('\n') + '\n';
}

function WriteSheet(file, options, rows) {
	const size = options.size, gap = 2, width = size * 3 + gap * 2;
	const pictures = rows.map((row) => path.join(options.out, 'below', row.set, path.basename(row.file, '.svg') + '.png')).filter((p) => fs.existsSync(p));
	if (pictures.length === 0) return;
	const height = pictures.length * (size + gap);
	const pixels = Buffer.alloc(width * height * 4, 0);
	pictures.forEach((picture, n) => {
		const image = DecodePng(fs.readFileSync(picture));
		image.pixels.copy(pixels, n * (size + gap) * width * 4);
	});
	fs.writeFileSync(file, EncodePng(width, height, pixels));
}

async function Main() {
	const options = ParseArguments(process.argv.slice(2));
	fs.mkdirSync(options.out, { recursive: true });
	const tsv = path.join(options.out, 'files.tsv');
	const stampFile = path.join(options.out, 'stamp');
	const probe = PrepArguments(options.prep, 'in', 'out');
	// A missing program would count as every file failing its preparation.
	if (probe && probe[0].includes('/') && !fs.existsSync(probe[0])) throw new Error(`no preparation program ${probe[0]}`);
	for (const tool of ['vorp', 'vorp-render']) {
		if (!fs.existsSync(path.join(options.tools, tool))) throw new Error(`no ${path.join(options.tools, tool)}`);
	}
	const stamp = Stamp(options, probe || []);
	const same = !options.fresh && fs.existsSync(stampFile) && fs.readFileSync(stampFile, 'utf8') === stamp;
	const done = same ? LoadRows(tsv) : new Map();
	if (!same) {
		fs.rmSync(path.join(options.out, 'below'), { recursive: true, force: true });
		fs.writeFileSync(tsv, kColumns.join('\t') + '\n');
		fs.writeFileSync(stampFile, stamp);
	}

	const todo = [];
	const wanted = [];
	for (const set of options.sets) {
		for (const name of ListFiles(set, options)) {
			wanted.push(`${set.name}/${name}`);
			if (!done.has(`${set.name}/${name}`)) todo.push({ set, name });
		}
	}
	console.log(`${wanted.length} files, ${wanted.length - todo.length} measured before, ${todo.length} to measure`);

	let next = 0, finished = 0;
	const started = Date.now();
	const worker = async (index) => {
		const work = fs.mkdtempSync(path.join(os.tmpdir(), `prep-eval-${index}-`));
		try {
			while (next < todo.length) {
				const { set, name } = todo[next++];
				let row;
				try {
					row = await MeasureFile(set, name, options, work);
				} catch (error) {
					row = { set: set.name, file: name, prep: '', vorp: '', render: '', iou: '', report_lines: 0, stage: 'harness', iou_large: '', coverage: '' };
					console.error(`${set.name}/${name}: ${error.message}`);
				}
				done.set(`${set.name}/${name}`, row);
				fs.appendFileSync(tsv, RowLine(row));
				finished++;
				if (finished % 500 === 0) console.log(`${finished}/${todo.length} in ${((Date.now() - started) / 1000).toFixed(0)} s`);
			}
		} finally {
			fs.rmSync(work, { recursive: true, force: true });
		}
	};
	await Promise.all(Array.from({ length: options.jobs }, (_, i) => worker(i)));

	const rows = wanted.map((key) => done.get(key));
	const all = [...done.values()].sort((a, b) => a.set.localeCompare(b.set) || a.file.localeCompare(b.file));
	fs.writeFileSync(tsv, kColumns.join('\t') + '\n' + all.map(RowLine).join(''));
	let worst = '';
	for (const set of options.sets) {
		const bad = rows.filter((row) => row.set === set.name && !Passed(row)).sort(Worse);
		worst += `== ${set.name}: ${bad.length} under ${options.threshold} (iou, iou at ${kLargeFactor}x, coverage, stage, prep status, report lines, file)\n`;
		for (const row of bad.slice(0, options.worst)) worst += `${row.iou || '-'}\t${row.iou_large || '-'}\t${row.coverage || '-'}\t${row.stage}\tprep=${row.prep}\treport=${row.report_lines}\t${row.file}\n`;
		WriteSheet(path.join(options.out, `sheet-${set.name}.png`), options, bad.slice(0, options.worst));
	}
	fs.writeFileSync(path.join(options.out, 'worst.txt'), worst);
	const summary = Summary(options, rows);
	fs.writeFileSync(path.join(options.out, 'summary.txt'), summary);
	process.stdout.write(summary);
	console.log(`rows in ${tsv}, worst files in ${path.join(options.out, 'worst.txt')}`);
}

Main().catch((error) => {
	console.error(error.message);
	process.exit(1);
});
