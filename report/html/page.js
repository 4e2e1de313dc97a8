'use strict';
(() => {
  const CONTEXT = 3;  // equal lines around changed ones
  const PAGE = 100;  // steps of the script that are elements at a time
  const SMALL = 200;  // with up to this many objects, all kinds are expanded at first
  const SIDES = {
    source: {mark: 'S', words: 'only in source'},
    target: {mark: 'T', words: 'only in target'},
    differs: {mark: '≠', words: 'differs'},
  };

  const byId = id => document.getElementById(id);
  const report = JSON.parse(byId('data').textContent);
  const tree = byId('tree');
  const canvas = tree.firstElementChild;
  const detail = byId('detail');
  const filters = {kind: byId('kind'), owner: byId('owner'), side: byId('side'), text: byId('text')};

  // ---- Making elements: texts become text nodes and attributes, never markup.

  function el(tag, attributes, ...children) {
    const element = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) element.setAttribute(name, value);
    element.append(...children);
    return element;
  }

  const counted = (count, one, many) => `${count.toLocaleString('en')} ${count === 1 ? one : many}`;

  // Invisible characters are shown by their code points, as are those that could change the order of letters.
  const ODD = '[\\p{C}\\p{Zl}\\p{Zp}\\p{Default_Ignorable_Code_Point}\\u2800]|(?! )\\p{Zs}';
  const ODDITIES = new RegExp(ODD, 'gu');
  const ODDITIES_AND_BLANKS = new RegExp(` |${ODD}`, 'gu');
  const ODD_IN_A_LINE = /^ | $|[\t\r\n]/;
  const SIGNS = {' ': 'space', '\t': 'tab', '\r': 'cr', '\n': 'lf'};

  function sign(character, blanks) {
    const name = SIGNS[character];
    if (!name) return el('span', {class: 'odd'}, `\\u{${character.codePointAt(0).toString(16).toUpperCase()}}`);
    if (blanks) return el('span', {class: name}, name === 'space' || name === 'tab' ? character : '');
    return character === '\t' ? character : '';
  }

  // The text as nodes; with `blanks`, blanks, tabs and line ends are made visible.
  function shown(text, blanks) {
    const nodes = [];
    let from = 0;
    for (const match of text.matchAll(blanks ? ODDITIES_AND_BLANKS : ODDITIES)) {
      nodes.push(text.slice(from, match.index), sign(match[0], blanks));
      from = match.index + match[0].length;
    }
    nodes.push(text.slice(from));
    return nodes.filter(node => node !== '');
  }

  function nameOf(text) {
    const nodes = text === '' ? [el('i', {}, 'empty')] : shown(text, ODD_IN_A_LINE.test(text));
    return el('bdi', {class: 'name'}, ...nodes);
  }

  const markOf = side => el('span', {class: `mark ${side}`, title: SIDES[side].words, role: 'img',
                                     'aria-label': SIDES[side].words}, SIDES[side].mark);

  // ---- Values, and texts beside each other

  const textOf = value => typeof value === 'string' ? value : value.join('');
  const withoutBlanks = value => textOf(value).replace(/[ \t\r\n]/g, '');
  const differInBlanks = (a, b) => withoutBlanks(a) === withoutBlanks(b);

  // In a value that is not a text, every second piece differs.
  function piecesShown(value, blanks) {
    if (typeof value === 'string') return shown(value, blanks);
    return value.flatMap((piece, at) => at % 2 === 0 ? shown(piece, blanks)
        : [el('mark', {}, ...shown(piece, blanks || withoutBlanks(piece) === ''))]);
  }

  function valueCell(side, value, blanks) {
    const text = textOf(value);
    const nodes = text === '' ? [el('i', {}, 'empty')] : piecesShown(value, blanks || ODD_IN_A_LINE.test(text));
    return el('td', {class: side, role: 'cell'}, el('bdi', {}, ...nodes));
  }

  function valueRow(diff) {
    const [source, target, note] = diff.values;
    const blanks = differInBlanks(source, target);
    const row = el('tr', {role: 'row'}, el('th', {scope: 'row', role: 'rowheader'}, ...shown(diff.label)),
                   valueCell('source', source, blanks), valueCell('target', target, blanks));
    if (note) row.lastChild.append(el('small', {}, note));
    return row;
  }

  function valueTable(diffs) {
    const head = ['Attribute', 'Source', 'Target'].map(text => el('th', {scope: 'col', role: 'columnheader'}, text));
    return el('table', {class: 'values', role: 'table'}, el('thead', {}, el('tr', {role: 'row'}, ...head)),
              el('tbody', {}, ...diffs.map(valueRow)));
  }

  function lineCell(side, number, value, blanks, note) {
    if (textOf(value) === '')
      return [el('span', {class: 'number none', role: 'cell'}), el('span', {class: 'line none', role: 'cell'})];
    const line = el('span', {class: `line ${side}`, role: 'cell'}, el('bdi', {}, ...piecesShown(value, blanks)));
    if (note) line.append(el('small', {}, note));
    return [el('span', {class: `number ${side}`, role: 'cell'}, String(number)), line];
  }

  // A declaration is one line: what breaks it is shown as a sign.
  function lineRow({row, source, target, isDeclared}) {
    const isOdd = value => isDeclared && ODD_IN_A_LINE.test(textOf(value));
    if (typeof row === 'string')
      return el('div', {class: 'row same', role: 'row'}, ...lineCell('source', source, row, isOdd(row)),
                ...lineCell('target', target, row, isOdd(row)));
    const [before, after, note] = row;
    const blanks = isOdd(before) || isOdd(after) || (textOf(before) !== '' && textOf(after) !== ''
        ? differInBlanks(before, after) : withoutBlanks(before) + withoutBlanks(after) === '');
    return el('div', {class: 'row changed', role: 'row'}, ...lineCell('source', source, before, blanks),
              ...lineCell('target', target, after, blanks, note));
  }

  // Rows with their line numbers.
  function numbered(rows, isDeclared) {
    let source = 1;
    let target = 1;
    return rows.map(row => {
      const result = {row, source, target, isDeclared};
      if (typeof row === 'string' || textOf(row[0]) !== '') ++source;
      if (typeof row === 'string' || textOf(row[1]) !== '') ++target;
      return result;
    });
  }

  function foldedRows(lines) {
    const button = el('button', {type: 'button'}, `⋯ ${counted(lines.length, 'equal line', 'equal lines')}`);
    const fold = el('div', {class: 'fold', role: 'row'}, el('span', {role: 'cell'}, button));
    button.addEventListener('click', () => fold.replaceWith(...lines.map(lineRow)));
    return fold;
  }

  function linesShown({label, rows, isDeclared = false}) {
    const lines = numbered(rows, isDeclared);
    const near = new Uint8Array(lines.length);
    lines.forEach(({row}, at) => {
      if (typeof row !== 'string') near.fill(1, Math.max(0, at - CONTEXT), at + CONTEXT + 1);
    });
    const table = el('div', {class: 'lines', role: 'table', 'aria-label': label});
    for (let at = 0; at < lines.length;) {
      let end = at;
      while (end < lines.length && near[end] === near[at]) ++end;
      const run = lines.slice(at, end);
      table.append(...(near[at] || run.length === 1 ? run.map(lineRow) : [foldedRows(run)]));
      at = end;
    }
    return el('div', {class: isDeclared ? 'text declared' : 'text'}, el('h4', {}, ...shown(label)), table);
  }

  // Values are shown together, each text separately.
  function diffsShown(diffs) {
    const values = diffs.filter(diff => diff.values);
    const texts = diffs.filter(diff => diff.rows).map(diff => linesShown(diff));
    return values.length > 0 ? [valueTable(values), ...texts] : texts;
  }

  // ---- Details of the selected node

  const sideOf = thing => thing.side || 'differs';

  function titleOf(part) {
    if (part.name !== undefined) return [part.word === '' ? '' : part.word + ' ', nameOf(part.name)];
    if (part.keys !== undefined) return [part.word + ' (', nameOf(part.keys), ')'];
    return [part.word];
  }

  function linksTo(steps) {
    const wordOf = step => step.why ? ' (not done)' : step.isCheck ? ' (check)' : '';
    return steps.flatMap((at, place) => [place === 0 ? '' : ', ', stepLink(at), wordOf(script.steps[at])]);
  }

  // The steps of the script that end a difference, or why there is none.
  function stepsShown(thing, whole) {
    if (!script) return [];
    const said = (...content) => el('p', {class: 'steps'}, ...content);
    const ofWhole = script.ofObject.get(whole) || [];
    if (thing === whole.object) {
      const isOfPart = at => thing.parts.some(part => part.omitted.includes(at));
      const reasons = thing.omitted.filter(at => !isOfPart(at)).map(at => script.omissions[at])
          .map(({what, reason}) => said('Not in the script: ', ...shown(`${what}: ${reason}`)));
      return ofWhole.length > 0 ? [said('In the script: ', ...linksTo(ofWhole)), ...reasons]
          : thing.omitted.length > 0 ? reasons : [said('No step of the script ends this.')];
    }
    const reasons = thing.omitted.map(at => said('Not in the script: ', ...shown(script.omissions[at].reason)));
    const own = [...new Set(thing.steps.map(([step]) => step))];
    if (own.length > 0) return [said('In the script: ', ...linksTo(own)), ...reasons];
    if (reasons.length > 0) return reasons;
    const others = ofWhole.filter(at => !script.steps[at].isCheck);
    return others.length === 0 ? [] : [said(`No step of its own; for the ${whole.kind.one}: `, ...linksTo(others))];
  }

  function partShown(part, whole) {
    const heading = el('h3', {}, markOf(sideOf(part)), el('span', {}, ...titleOf(part)));
    if (part.side) heading.append(el('span', {class: 'words'}, SIDES[part.side].words));
    if (part.declaration !== undefined) heading.append(el('span', {class: 'declaration'}, ...shown(part.declaration)));
    return el('section', {class: 'part'}, heading, ...stepsShown(part, whole), ...diffsShown(part.diffs || []));
  }

  // Stands above the values and has the same columns.
  function legend() {
    return el('div', {class: 'legend', 'aria-hidden': 'true'}, el('span', {}),
              el('span', {}, markOf('source'), ' Source'), el('span', {}, markOf('target'), ' Target'));
  }

  // The guess that an object on one side only was renamed, with a link to the other object.
  function renameShown({object, kind}) {
    const {name, likeness} = object.renamed;
    const button = el('button', {type: 'button'}, nameOf(name));
    const other = kindNodes.find(node => node.kind === kind).children
        .find(child => child.object.name === name && child.object.side && child.object.side !== object.side);
    button.addEventListener('click', () => {
      jumpTo(other);
      detail.focus();
    });
    return el('p', {class: 'renamed'}, object.side === 'source' ? 'Probably renamed to ' : 'Probably renamed from ', button,
              likeness === 100 ? ' (equal contents).' : ` (${likeness}% of the contents).`);
  }

  // What both sides declare, line by line.
  const declaredShown = rows => linesShown({label: 'declaration', rows, isDeclared: true});

  function objectShown(node) {
    const {object, kind} = node;
    const side = sideOf(object);
    const words = side === 'differs' ? counted(object.count, 'difference', 'differences') : SIDES[side].words;
    return el('section', {class: 'object'},
              el('h2', {}, markOf(side), el('span', {}, kind.one + ' ', nameOf(object.name)),
                 el('span', {class: 'words'}, words)),
              ...(object.renamed ? [renameShown({object, kind})] : []), ...stepsShown(object, node),
              ...(object.facts ? [el('ul', {class: 'facts'}, ...object.facts.map(fact => el('li', {}, ...shown(fact))))] : []),
              ...(side === 'differs' ? [legend()] : []),
              ...(object.declared ? [declaredShown(object.declared)] : []), ...diffsShown(object.diffs),
              ...object.parts.map(part => partShown(part, node)));
  }

  // How many objects are on a side alone or differ, without what there is none of.
  function countsBySide(objects) {
    const counts = {source: 0, target: 0, differs: 0};
    for (const object of objects) ++counts[sideOf(object)];
    return Object.entries(counts).filter(([, count]) => count > 0);
  }

  function sideCounts(objects) {
    return countsBySide(objects)
        .map(([side, count]) => side === 'differs' ? counted(count, 'differs', 'differ')
                                                   : `${count.toLocaleString('en')} ${SIDES[side].words}`).join(', ');
  }

  function kindShown(node) {
    const objects = node.found.map(child => child.object);
    return el('section', {class: 'object'}, el('h2', {}, counted(objects.length, node.kind.one, node.kind.many)),
              el('p', {}, sideCounts(objects)));
  }

  let detailOf = null;  // the node that the details show

  function showDetail(node) {
    const whole = node && node.part ? node.parent : node;
    if (whole !== detailOf || !whole) {
      detailOf = whole;
      detail.replaceChildren(whole ? (whole.object ? objectShown(whole) : kindShown(whole))
                                   : el('p', {class: 'nothing'}, nothingFound()));
      detail.scrollTop = 0;
    }
    for (const section of detail.querySelectorAll('.chosen')) section.classList.remove('chosen');
    if (!node || !node.part) return;
    const section = detail.querySelectorAll('.part')[node.parent.children.indexOf(node)];
    section.classList.add('chosen');
    detail.scrollTop = section.offsetTop - detail.offsetTop - 8;
  }

  // ---- The tree: only the rows in sight are elements.

  const kindNodes = report.kinds.map(kind => {
    const node = {level: 1, kind, open: false, found: []};
    node.children = kind.objects.map(object => {
      const child = {level: 2, kind, object, parent: node, open: false};
      child.children = child.found = object.parts.map(part => ({level: 3, part, kind, object, parent: child}));
      return child;
    });
    return node;
  });
  const allObjects = report.kinds.flatMap(kind => kind.objects);

  // ---- The script: only the steps of one page are elements.

  const hrefOf = title => `#${encodeURIComponent(title)}`;
  const objectTitle = node => `${node.kind.one} ${node.object.name}`;
  const titleOfNode = node => node.part ? `${objectTitle(node.parent)} /${node.parent.children.indexOf(node) + 1}`
      : objectTitle(node);
  const objectNodes = new Map(kindNodes.flatMap(kind => kind.children).reverse()
      .map(node => [objectTitle(node), node]));
  const stepLink = step => el('a', {href: hrefOf(`step ${step + 1}`)}, `step ${step + 1}`);

  // With the differences by their lines, and the steps by their objects.
  function linkedScript() {
    if (!report.script) return null;
    const {steps} = report.script;
    const byLine = new Map();
    const ofObject = new Map();
    const add = (node, step) => {
      if (!ofObject.has(node)) ofObject.set(node, new Set());
      ofObject.get(node).add(step);
    };
    for (const node of objectNodes.values()) {
      for (const one of [node, ...node.children]) {
        for (const [step, line] of (one.part || one.object).steps) {
          const text = steps[step].lines[line];
          if (!byLine.has(text)) byLine.set(text, one);
          add(node, step);
        }
      }
    }
    steps.forEach(({object}, step) => {
      if (objectNodes.has(object)) add(objectNodes.get(object), step);
    });
    for (const [node, found] of ofObject) ofObject.set(node, [...found].sort((a, b) => a - b));
    return {...report.script, byLine, ofObject};
  }

  const script = linkedScript();
  const stepFilters = {stage: byId('step-stage'), state: byId('step-state'), text: byId('step-text')};
  let stepsFound = [];
  let firstStep = 0;  // of the page, in those that are found
  let chosenStep = null;

  // The script has line ends; all else that cannot be seen is shown.
  function tsqlShown(text) {
    const lines = text.replace(/\n$/, '').split('\n');
    return el('pre', {}, ...lines.flatMap((line, at) => [at > 0 ? '\n' : '', ...shown(line)]));
  }

  function endShown(line, step) {
    const node = script.byLine.get(line);
    if (node) return el('li', {}, el('a', {href: hrefOf(titleOfNode(node))}, ...shown(line)));
    const whole = objectNodes.get(step.object);
    return el('li', {}, ...shown(line),
              ...(whole ? [' (', el('a', {href: hrefOf(step.object)}, ...shown(step.object)), ')'] : []));
  }

  function stepShown(at) {
    const step = script.steps[at];
    const state = step.why ? `not done: ${step.why}` : step.isCheck ? 'check' : 'done';
    const heading = el('h3', {}, `Step ${at + 1}`, el('span', {class: 'words'}, state));
    const needs = (step.needs || [])
        .flatMap((needed, place) => [place === 0 ? 'Needs what is not done: ' : ', ', stepLink(needed)]);
    heading.append(...(step.classes || []).map(word => el('span', {class: 'class'}, word)),
                   ...(step.copies ? [el('span', {class: 'class'}, 'copies the data')] : []));
    return el('section', {class: `step ${step.why ? 'not-done' : 'done'}`, 'data-step': at, tabindex: -1}, heading,
              el('ul', {}, ...step.lines.map(line => endShown(line, step))),
              ...(needs.length > 0 ? [el('p', {class: 'steps'}, ...needs)] : []), tsqlShown(step.text));
  }

  // With the heading of each stage that begins, or goes on from the page before.
  function stagesShown(steps) {
    return steps.flatMap((at, place) => {
      const {stage} = script.steps[at];
      const begins = place === 0 || script.steps[steps[place - 1]].stage !== stage;
      return begins ? [el('h2', {}, ...shown(script.stages[stage])), stepShown(at)] : [stepShown(at)];
    });
  }

  function showPage(first) {
    firstStep = first;
    const last = Math.min(first + PAGE, stepsFound.length);
    byId('steps').replaceChildren(...stagesShown(stepsFound.slice(first, last)));
    for (const pager of document.querySelectorAll('.pager')) {
      const turn = (words, to, isThere) => {
        const button = el('button', {type: 'button'}, words);
        button.disabled = !isThere;
        button.addEventListener('click', () => {
          showPage(to);
          byId('steps').scrollIntoView();
          byId('script').focus({preventScroll: true});
        });
        return button;
      };
      pager.hidden = stepsFound.length <= PAGE;
      const place = [first + 1, last, stepsFound.length].map(number => number.toLocaleString('en'));
      pager.replaceChildren(turn('Previous', first - PAGE, first > 0),
                            turn('Next', first + PAGE, last < stepsFound.length), `${place[0]} to ${place[1]} of ${place[2]}`);
    }
  }

  function filterSteps() {
    const text = stepFilters.text.value.toLowerCase();
    const {stage, state} = stepFilters;
    const states = {'': () => true, done: step => !step.why, 'not-done': step => step.why, copies: step => step.copies};
    const isFound = states[state.value] || (step => (step.classes || []).includes(state.value));
    stepsFound = [...script.steps.keys()].filter(at => {
      const step = script.steps[at];
      return (stage.value === '' || step.stage === Number(stage.value)) && isFound(step) &&
          (text === '' || `${step.lines.join('\n')}\n${step.text}`.toLowerCase().includes(text));
    });
    byId('steps-found').textContent = `${stepsFound.length.toLocaleString('en')} of ` +
        counted(script.steps.length, 'step', 'steps');
    showPage(0);
  }

  // Filters that hide the step are reset.
  function chooseStep(at) {
    if (at === undefined || at < 0 || at >= script.steps.length) return;
    if (!stepsFound.includes(at)) {
      byId('step-filters').reset();
      filterSteps();
    }
    const place = stepsFound.indexOf(at);
    if (place < firstStep || place >= firstStep + PAGE) showPage(place - place % PAGE);
    for (const step of document.querySelectorAll('.step.chosen')) step.classList.remove('chosen');
    chosenStep = at;
    const step = document.querySelector(`#steps [data-step="${at}"]`);
    step.classList.add('chosen');
    step.scrollIntoView({block: 'nearest'});
    step.focus({preventScroll: true});
  }

  function nextStep(distance) {
    if (stepsFound.length === 0) return;
    const place = stepsFound.indexOf(chosenStep);
    chooseStep(stepsFound[place < 0 ? firstStep : Math.max(0, Math.min(place + distance, stepsFound.length - 1))]);
  }

  const TABS = ['differences', 'script'];
  const isOpen = name => !byId(name).hidden;

  function openTab(name) {
    if (!script) return;
    for (const one of TABS) {
      byId(one).hidden = one !== name;
      byId(`tab-${one}`).setAttribute('aria-selected', one === name);
      byId(`tab-${one}`).tabIndex = one === name ? 0 : -1;
    }
    if (name === 'differences') drawRows();
  }

  function otherTab() {
    if (!script) return;
    const name = isOpen('script') ? 'differences' : 'script';
    openTab(name);
    byId(name === 'script' ? 'script' : 'tree').focus();
  }

  function onTabKey(event) {
    if (!['ArrowLeft', 'ArrowRight', 'Home', 'End'].includes(event.key)) return;
    event.preventDefault();
    const name = event.key === 'End' || (event.key !== 'Home' && isOpen('differences')) ? 'script' : 'differences';
    openTab(name);
    byId(`tab-${name}`).focus();
  }

  function showScript() {
    byId('tabs').hidden = !script;
    for (const element of document.querySelectorAll('.with-script')) element.hidden = !script;
    if (!script) return;
    for (const one of TABS) {
      byId(one).setAttribute('role', 'tabpanel');
      byId(one).setAttribute('aria-labelledby', `tab-${one}`);
      byId(`tab-${one}`).addEventListener('click', () => openTab(one));
    }
    const notDone = script.steps.filter(step => step.why).length;
    if (notDone > 0) byId('tab-script').append(` (${counted(notDone, 'step', 'steps')} not done)`);
    byId('script-head').append(...script.head.map(line => el('li', {}, ...shown(line))));
    byId('omissions').hidden = script.omissions.length === 0;
    byId('omissions').querySelector('summary').append(`Not in the script (${script.omissions.length.toLocaleString('en')})`);
    byId('omissions').querySelector('ul').append(...script.omissions.map(({what, reason}) =>
        el('li', {}, ...shown(`${what}: ${reason}`))));
    stepFilters.stage.append(...script.stages.map((stage, at) => option(String(at), stage)));
    const classes = [...new Set(script.steps.flatMap(step => step.classes || []))].sort();
    stepFilters.state.append(...classes.map(word => option(word, word)));
    byId('step-filters').hidden = script.steps.length === 0;
    filterSteps();
    openTab('differences');
  }

  let rows = [];
  let chosen = null;
  let rowHeight = 0;

  function listRows() {
    rows = [];
    const visit = nodes => nodes.forEach((node, at) => {
      node.place = at + 1;
      node.of = nodes.length;
      node.at = rows.push(node) - 1;
      if (node.open) visit(node.found);
    });
    visit(kindNodes.filter(node => node.found.length > 0));
    measure();
  }

  function measure() {
    rowHeight = parseFloat(getComputedStyle(tree).getPropertyValue('--row'));
    canvas.style.height = `${rows.length * rowHeight}px`;
  }

  function rowLabel(node) {
    if (node.part) return titleOf(node.part);
    return node.object ? [nameOf(node.object.name)] : [node.kind.many];
  }

  function rowCount(node) {
    if (node.part) return node.part.diffs ? node.part.diffs.length : 1;
    return (node.object ? node.object.count : node.found.length).toLocaleString('en');
  }

  function rowElement(node) {
    const parent = node.found && node.found.length > 0;
    const row = el('div', {role: 'treeitem', id: `row-${node.at}`, class: `level-${node.level}`,
                           'aria-level': node.level, 'aria-posinset': node.place, 'aria-setsize': node.of,
                           'aria-selected': node === chosen});
    if (parent) row.setAttribute('aria-expanded', node.open);
    row.append(el('span', {class: 'twisty', 'aria-hidden': 'true'}, parent ? (node.open ? '▾' : '▸') : ''));
    if (node.object) row.append(markOf(sideOf(node.part || node.object)));
    row.append(el('span', {class: 'label'}, ...rowLabel(node)), el('span', {class: 'count'}, String(rowCount(node))));
    row.style.top = `${node.at * rowHeight}px`;
    return row;
  }

  function drawRows() {
    const first = Math.max(0, Math.floor(tree.scrollTop / rowHeight) - 4);
    const last = Math.ceil((tree.scrollTop + tree.clientHeight) / rowHeight) + 4;
    canvas.replaceChildren(...rows.slice(first, last).map(rowElement));
    if (chosen && chosen.at >= first && chosen.at < last)
      tree.setAttribute('aria-activedescendant', `row-${chosen.at}`);
    else
      tree.removeAttribute('aria-activedescendant');
  }

  function choose(node) {
    chosen = node;
    if (node) {
      const top = node.at * rowHeight;
      if (top < tree.scrollTop) tree.scrollTop = top;
      else if (top + rowHeight > tree.scrollTop + tree.clientHeight)
        tree.scrollTop = top + rowHeight - tree.clientHeight;
    }
    drawRows();
    showDetail(node);
  }

  function setOpen(node, open) {
    if (!node.found || node.found.length === 0 || node.open === open) return;
    node.open = open;
    listRows();
    choose(isWithin(chosen, node) ? node : chosen);
  }

  function isWithin(node, ancestor) {
    let at = node && node.parent;
    while (at && at !== ancestor) at = at.parent;
    return Boolean(at);
  }

  function chooseAt(at) {
    if (rows.length > 0) choose(rows[Math.max(0, Math.min(at, rows.length - 1))]);
  }

  function goIn() {
    if (chosen.found && chosen.found.length > 0 && chosen.open) choose(chosen.found[0]);
    else setOpen(chosen, true);
  }

  function goOut() {
    if (chosen.open) setOpen(chosen, false);
    else if (chosen.parent) choose(chosen.parent);
  }

  // The next or previous object, in whatever kind it is.
  function stepObject(step) {
    const objects = kindNodes.flatMap(node => node.found);
    if (objects.length === 0) return;
    const current = chosen && chosen.part ? chosen.parent : chosen;
    const first = current && current.found && !current.object ? objects.indexOf(current.found[0]) : -1;
    const at = first >= 0 ? first + (step > 0 ? 0 : -1) : objects.indexOf(current) + step;
    const next = objects[Math.max(0, Math.min(at, objects.length - 1))];
    next.parent.open = true;
    listRows();
    choose(next);
  }

  // ---- Filters: they choose objects.

  function searchText(object, kind) {
    const rowsText = rows => rows.flatMap(row => typeof row === 'string' ? [row] : row.map(textOf));
    const valuesOf = diff => diff.values ? diff.values.map(textOf) : rowsText(diff.rows);
    const diffText = diff => [diff.label, ...valuesOf(diff)];
    const partText = part => [`${part.word} ${part.name || part.keys || ''}`, part.declaration || '',
                             ...(part.diffs || []).flatMap(diffText)];
    const renamed = object.renamed ? [`probably renamed ${object.renamed.name}`] : [];
    const declared = rowsText((object.declared || []).filter(row => typeof row !== 'string'));
    return [`${kind.one} ${object.name}`, ...(object.facts || []), ...renamed, ...declared, ...object.diffs.flatMap(diffText),
            ...object.parts.flatMap(partText)]
        .join('\n').toLowerCase();
  }

  function hasText(node, text) {
    if (text === '') return true;
    node.search = node.search || searchText(node.object, node.kind);
    return node.search.includes(text);
  }

  function filter() {
    const text = filters.text.value.toLowerCase();
    const {kind, owner, side} = filters;
    for (const node of kindNodes) {
      const all = kind.value === '' || kind.value === node.kind.many ? node.children : [];
      node.found = all.filter(child => (owner.value === '' || owner.value === `.${child.object.owner}`) &&
          (side.value === '' || side.value === sideOf(child.object)) && hasText(child, text));
    }
    const objects = kindNodes.flatMap(node => node.found);
    byId('found').textContent = `${objects.length.toLocaleString('en')} of ` +
        counted(allObjects.length, 'object', 'objects');
    if (objects.length > 0 && objects.length <= SMALL) kindNodes.forEach(node => { node.open = true; });
    listRows();
    if (detailOf && !detailOf.object) detailOf = null;
    choose(rows.includes(chosen) ? chosen : rows.find(node => node.object) || rows[0] || null);
  }

  function nothingFound() {
    if (allObjects.length > 0) return 'Nothing matches the filters.';
    return report.gaps.length > 0 ? 'No differences in what could be compared.' : 'No differences.';
  }

  // ---- Keys

  const TREE_KEYS = {
    ArrowDown: () => chooseAt(chosen.at + 1),
    ArrowUp: () => chooseAt(chosen.at - 1),
    PageDown: () => chooseAt(chosen.at + Math.max(1, Math.floor(tree.clientHeight / rowHeight) - 1)),
    PageUp: () => chooseAt(chosen.at - Math.max(1, Math.floor(tree.clientHeight / rowHeight) - 1)),
    Home: () => chooseAt(0),
    End: () => chooseAt(rows.length - 1),
    ArrowRight: goIn,
    ArrowLeft: goOut,
    ' ': () => setOpen(chosen, !chosen.open),
    Enter: () => detail.focus(),
  };

  const PAGE_KEYS = {
    '/': () => { filters.text.focus(); filters.text.select(); },
    '?': () => { byId('help').open = !byId('help').open; },
    n: () => stepObject(1),
    p: () => stepObject(-1),
    s: otherTab,
    Escape: () => { byId('help').open = false; tree.focus(); },
  };

  const SCRIPT_KEYS = {
    '/': () => { stepFilters.text.focus(); stepFilters.text.select(); },
    n: () => nextStep(1),
    p: () => nextStep(-1),
    s: otherTab,
    Escape: () => byId('script').focus(),
  };

  function clearText() {
    if (filters.text.value === '') return tree.focus();
    filters.text.value = '';
    filter();
  }

  function clearStepText() {
    if (stepFilters.text.value === '') return byId('script').focus();
    stepFilters.text.value = '';
    filterSteps();
  }

  function keysOf(target) {
    if (target === filters.text)
      return {Escape: clearText, ArrowDown: () => tree.focus(), Enter: () => tree.focus()};
    if (target === stepFilters.text) return {Escape: clearStepText, Enter: () => nextStep(0)};
    return isOpen('script') ? SCRIPT_KEYS : PAGE_KEYS;
  }

  function onKey(event) {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    const {target, key} = event;
    const keys = target === tree && chosen && Object.hasOwn(TREE_KEYS, key) ? TREE_KEYS : keysOf(target);
    if (!Object.hasOwn(keys, key) || target instanceof HTMLSelectElement) return;
    event.preventDefault();
    keys[key]();
  }

  // Filters that hide the object are reset.
  function jumpTo(node) {
    if (!node) return;
    const whole = node.part ? node.parent : node;
    if (!whole.parent.found.includes(whole)) {
      byId('filters').reset();
      filter();
    }
    whole.parent.open = true;
    if (node.part) whole.open = true;
    openTab('differences');
    listRows();
    choose(node);
  }

  // A link to an object, to a part of it or to a step: #table dbo.customer, #table dbo.customer /3, #step 3
  function followLink() {
    const title = decodeURIComponent(location.hash.slice(1));
    const [, ofPart, part] = /^(.*) \/(\d+)$/su.exec(title) || [];
    const [, step] = /^step (\d+)$/.exec(title) || [];
    if (step && script) {
      openTab('script');
      return chooseStep(Number(step) - 1);
    }
    const whole = objectNodes.get(title);
    jumpTo(whole || (objectNodes.has(ofPart) ? objectNodes.get(ofPart).children[part - 1] : null));
  }

  // A link that was followed before leads there again.
  function onLinkClick(event) {
    const link = event.target.closest('a[href]');
    if (!link || event.ctrlKey || event.metaKey || event.shiftKey) return;
    event.preventDefault();
    location.hash = link.hash;
    followLink();
    if (isOpen('differences')) detail.focus();
  }

  function onTreeClick(event) {
    const element = event.target.closest('[role=treeitem]');
    if (!element) return;
    const node = rows[Number(element.id.slice('row-'.length))];
    const toggles = event.target.classList.contains('twisty') || node.level === 1;
    choose(node);
    if (toggles) setOpen(node, !node.open);
  }

  // ---- The page

  function option(value, text) {
    return el('option', {value}, ...shown(text || 'none').map(node => node.textContent ?? node));
  }

  function fillFilters() {
    filters.kind.append(...report.kinds.map(kind => option(kind.many, kind.many)));
    const owners = [...new Set(allObjects.map(object => object.owner))].sort();
    filters.owner.append(...owners.map(owner => option(`.${owner}`, owner)));
    byId('filters').hidden = allObjects.length === 0;
    tree.hidden = allObjects.length === 0;
  }

  function showGaps() {
    const banner = byId('gaps');
    banner.hidden = report.gaps.length === 0;
    byId('gaps-title').textContent =
        `Not everything could be compared (${counted(report.gaps.length, 'gap', 'gaps')}): equality is not proven.`;
    banner.querySelector('ul').append(...report.gaps.map(gap => el('li', {}, ...shown(gap))));
  }

  function showHeader() {
    byId('source').append(nameOf(report.source));
    byId('target').append(nameOf(report.target));
    document.title = `Differences: ${report.source} | ${report.target}`;
    const total = allObjects.reduce((sum, object) => sum + object.count, 0);
    byId('summary').textContent = total === 0 ? nothingFound()
        : `${counted(total, 'difference', 'differences')} in ` +
          `${counted(allObjects.length, 'object', 'objects')}: ${sideCounts(allObjects)}.`;
    byId('summary').append(...report.notes.map(note => ` ${note}.`));
    byId('made').append(`Made by kelvane ${report.version}`);
    if (report.equal)
      byId('made').append(el('details', {}, el('summary', {}, `${counted(report.equal.length, 'table is', 'tables are')} equal`),
          el('ul', {}, ...report.equal.map(line => el('li', {}, ...shown(line))))));
    if (report.switches.length > 0)
      byId('made').append(el('details', {}, el('summary', {}, counted(report.switches.length, 'switch', 'switches') +
          ' on'), report.switches.join(', ')));
  }

  // The counts of each kind; a count filters by what it counts.
  function showGlance() {
    const button = (kind, side, count) => {
      const element = el('button', {type: 'button', title: SIDES[side].words}, markOf(side),
                         ` ${count.toLocaleString('en')}`);
      element.addEventListener('click', () => {
        byId('filters').reset();
        filters.kind.value = kind.many;
        filters.side.value = side;
        openTab('differences');
        filter();
        tree.focus();
      });
      return element;
    };
    byId('glance').hidden = report.kinds.length === 0;
    byId('glance').append(...report.kinds.map(kind => el('li', {}, `${kind.many} `,
        ...countsBySide(kind.objects).map(([side, count]) => button(kind, side, count)))));
  }

  // The printed page has everything that passes the filters.
  function beforePrint() {
    byId('print').replaceChildren(...kindNodes.filter(node => node.found.length > 0)
        .flatMap(node => [kindShown(node), ...node.found.map(objectShown)]));
    if (script && stepsFound.length > 0)
      byId('print').append(el('section', {class: 'script'}, ...stagesShown(stepsFound)));
  }

  showHeader();
  showGlance();
  showGaps();
  fillFilters();
  showScript();
  filter();
  followLink();

  byId('filters').addEventListener('input', filter);
  byId('filters').addEventListener('submit', event => event.preventDefault());
  byId('step-filters').addEventListener('input', filterSteps);
  byId('step-filters').addEventListener('submit', event => event.preventDefault());
  byId('tabs').addEventListener('keydown', onTabKey);
  document.addEventListener('click', onLinkClick);
  tree.addEventListener('click', onTreeClick);
  tree.addEventListener('scroll', () => requestAnimationFrame(drawRows));
  document.addEventListener('keydown', onKey);
  window.addEventListener('resize', () => { measure(); drawRows(); });
  window.addEventListener('hashchange', followLink);
  window.addEventListener('beforeprint', beforePrint);
  window.addEventListener('afterprint', () => byId('print').replaceChildren());
})();
