// SPDX-License-Identifier: MIT
// What the page can begin with.

const text = (value) => JSON.stringify(value, null, 2);

export const kDescriptions = {
  Hello: text({Content: 'Hello, 世界! 用文字画一行', Font: {FontName: 'SimSun', FontSize: 36, Color: '#1F4E79'}}),
  'A page of lines': text([
    {Content: 'A page of several lines', DeltaX: 40, DeltaY: 30,
      Font: {FontName: 'Times New Roman', FontSize: 30, Bold: true, Color: '#1F4E79'}},
    {Content: '每一行都有自己的位置', DeltaX: 40, DeltaY: 90, Font: {FontSize: 22, Color: '#80'}},
    {Content: 'ואפילו מימין לשמאל', DeltaX: 40, DeltaY: 140,
      Font: {FontName: 'Arial', FontSize: 22, Italic: true, Color: '192 57 43'}},
  ]),
  'Several pages': text([
    [{Content: 'The first page', DeltaX: 24, DeltaY: 24, Font: {FontName: 'Arial', FontSize: 30}}],
    [{Content: 'The second', DeltaX: 24, DeltaY: 24, Font: {FontName: 'Arial', FontSize: 30, Color: '#C0392B'}}],
    [{Content: 'And the last one', DeltaX: 24, DeltaY: 24, Font: {FontName: 'Arial', FontSize: 30, Italic: true}}],
  ]),
  'With mistakes': text({Content: 'Old Hungarian: 𐲘𐲀𐲎', DeltaX: 10, Font: {FontNmae: 'Arial', FontSize: '30', Color: '#12345'}}),
};

export const kPaths = {
  Tick: 'M 10 52\nL 38 80\nL 92 18',
  Circle: 'M 50 0\nA 50 50 0 0 1 0 50\nA 50 50 0 0 1 -50 0\nA 50 50 0 0 1 0 -50\nA 50 50 0 0 1 50 0 Z',
  Heart: 'M 50 90\nC 10 60 0 40 0 25\nA 25 25 0 0 1 50 25\nA 25 25 0 0 1 100 25\nC 100 40 90 60 50 90 Z',
  Wave: 'M 0 40\nQ 20 0 40 40\nT 80 40\nT 120 40\nT 160 40',
  'Open square': 'M 0 0 V 100 H 100 V 0',
};

// Fills a select with names; choose(value) is called when one is chosen, after which nothing is.
export function fillExamples(select, examples, choose) {
  select.append(new Option('Choose …', ''), ...Object.keys(examples).map((name) => new Option(name, name)));
  select.addEventListener('change', () => {
    if (select.value) choose(examples[select.value]);
    select.value = '';
  });
}
