// The example app, used by its scripted user from start to end.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { Road, nameOf } from './road.mjs';

const limits = { timeout: 180_000 };

/** Runs the app; answers how many screens arrived, and its interactions by the screens they arrived on. */
async function tell(road, ...options) {
  await road.run(process.env.STOREFRONT, ['--capture-url', road.url, '--data', road.data, ...options]);
  const pageviews = (await road.records('h', 1)).map(({ named }) => named);
  const screens = new Map(pageviews.map(({ v, h }, index) => [v, `${index + 1} ${h}`]));
  const told = [];
  for (const message of await road.messages()) {
    const [touch] = Object.values(message.event);
    if (nameOf(message) === 'lifecycleEvent') continue;
    const words = [touch.type, touch.targetText, touch.targetSelector, touch.targetIvar].filter(Boolean);
    told.push(`${screens.get(message.pageviewInfo.id)}: ${words.join(' ')}`);
  }
  return { screens: screens.size, told };
}

test('each interaction arrives on the pageview of its own screen', limits, async (t) => {
  const road = await Road.open(t);
  const { screens, told } = await tell(road);
  const [first] = await road.records('');
  assert.deepEqual([first.endpoint, first.named.z], ['h', '0']);
  assert.equal(screens, 7);
  assert.deepEqual(told, [
    '1 CatalogController: touch Linen shirt openProduct',
    '2 ProductController: UISwipeGestureRecognizer showNextColour picture',
    '2 ProductController: touch picture',
    '2 ProductController: touch M chooseSize sizeControl',
    '2 ProductController: touch Add to basket addToBasket addToBasketButton',
    '2 ProductController: touch Basket _tabBarItemClicked',
    '3 BasketController: touch Check out checkOut checkOutButton',
    '4 CheckoutController: touch **** addressRow',
    '4 CheckoutController: Order placed',
    '4 CheckoutController: touch Place order placeOrder placeOrderButton',
    '5 UIAlertController: touch OK _actionTapped',
    '3 BasketController: touch Account _tabBarItemClicked',
    '6 AccountController: touch emailField',
    '6 AccountController: fieldedit emailField',
    '6 AccountController: touch Sign in signIn signInButton',
  ]);
  assert.deepEqual(await road.parameters('identify', 'i', 1), ['ada@example.com']);

  // What the app adds is sent; what it keeps to itself is not.
  const everything = JSON.stringify(await road.records(''));
  for (const added of ['"productId":"shirt-01"', '"basketSize":"1"']) assert.ok(everything.includes(added), added);
  for (const kept of ['4111 1111', '41111111', 'Analytical', 'Card number']) assert.ok(!everything.includes(kept), kept);
});

test('touches in two scenes belong to the screens of each', limits, async (t) => {
  const { screens, told } = await tell(await Road.open(t), '--tablet');
  assert.equal(screens, 5);
  assert.deepEqual(told, [
    '1 CatalogController: touch Stoneware mug openProduct',
    '2 CatalogController: touch Basket _tabBarItemClicked',
    '3 ProductController: touch Add to basket addToBasket addToBasketButton',
    '4 BasketController: touch Check out checkOut checkOutButton',
    '5 CheckoutController: touch Not yet cancel cancelButton',
  ]);
});
