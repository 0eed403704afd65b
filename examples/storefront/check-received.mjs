// Checks that what happens in the story arrived at the capture service, each on the pageview of its own screen, and that
// what is to stay on the device did: node check-received.mjs FILE. Ends with status 1 and a line for each that is missing.

import fs from 'node:fs';

const text = fs.readFileSync(process.argv[2], 'utf8');
const records = text.split('\n').filter((line) => line !== '').map((line) => JSON.parse(line));
const pageviews = records.filter(({ endpoint }) => endpoint === 'h').map(({ named }) => named);
const screenOf = new Map(pageviews.map(({ v, h }) => [v, h]));
const events = records.flatMap(({ message }) => {
  if (!message) return [];
  const screen = screenOf.get(message.pageviewInfo.id);
  return Object.values(message.event).map((event) => ({ ...event, screen }));
});

const screens = [
  'CatalogController', 'ProductController', 'BasketController', 'CheckoutController', 'UIAlertController', 'AccountController',
];
const expected = [
  { type: 'touch', targetText: 'Linen shirt', targetSelector: 'openProduct', screen: 'CatalogController' },
  { type: 'UISwipeGestureRecognizer', targetSelector: 'showNextColour', targetIvar: 'picture', screen: 'ProductController' },
  { type: 'touch', targetText: 'M', targetSelector: 'chooseSize', targetIvar: 'sizeControl', screen: 'ProductController' },
  { type: 'touch', targetText: 'Add to basket', targetSelector: 'addToBasket', targetIvar: 'addToBasketButton', screen: 'ProductController' },
  { type: 'touch', targetText: 'Check out', targetSelector: 'checkOut', screen: 'BasketController' },
  { type: 'touch', targetText: '****', targetA11yLabel: '****', screen: 'CheckoutController' },
  { type: 'touch', targetText: 'Place order', targetSelector: 'placeOrder', screen: 'CheckoutController' },
  { type: 'Order placed', screen: 'CheckoutController' },
  { type: 'touch', targetA11yLabel: 'OK', screen: 'UIAlertController' },
  { type: 'fieldedit', targetA11yId: 'e-mail', targetIvar: 'emailField', screen: 'AccountController' },
  { type: 'touch', targetText: 'Sign in', targetSelector: 'signIn', screen: 'AccountController' },
];
const secrets = ['4111 1111', '41111111', 'Analytical', 'Card number', 'UIKeyboardLayoutStar"'];

const problems = records.filter(({ valid }) => !valid).map((record) => `refused: ${record.problems}`);
const seen = pageviews.map(({ h }) => h);
for (const screen of screens) if (!seen.includes(screen)) problems.push(`no pageview of ${screen} arrived`);
for (const wanted of expected) {
  const arrived = events.some((event) => Object.entries(wanted).every(([name, value]) => event[name] === value));
  if (!arrived) problems.push(`did not arrive: ${JSON.stringify(wanted)}`);
}
for (const secret of secrets) if (text.includes(secret)) problems.push(`"${secret}" was sent`);
if (!records.some(({ endpoint, named }) => endpoint === 'identify' && named.i === 'ada@example.com'))
  problems.push('the identity did not arrive');

for (const problem of problems) console.error(`check-received: ${problem}`);
if (problems.length === 0) console.log(`All ${expected.length} interactions of the story arrived, each on its own screen.`);
process.exit(problems.length === 0 ? 0 : 1);
