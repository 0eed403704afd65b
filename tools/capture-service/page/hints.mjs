// What would make an event easier to recognise later, for the developer who sees it.

import { REDACTED } from './format.mjs';

const CONTROL = /button|switch|slider|stepper|segmented|control/i;

const touchOf = (message) => message?.event?.touchEvent;

/** Sentences; `others` are the summaries of all events on the page. */
export function hintsOf(summary, message, others) {
  const touch = touchOf(message);
  const isTouch = typeof touch === 'object' && touch !== null;
  return [...(isTouch ? touchHints(summary, touch) : []), ...titleHints(summary, others)];
}

function touchHints({ kind, controller }, touch) {
  const hints = [];
  const { targetText, targetA11yLabel, targetA11yId, targetSelector, targetIvar, targetView } = touch;
  if (!targetA11yId) hints.push('No identifier: with an accessibilityIdentifier it is found again when its text changes.');
  if (targetText && targetText !== REDACTED && targetText === targetA11yLabel)
    hints.push('Label and text are equal: a label that says more tells views of the same text apart.');
  if (kind === 'touch' && !targetSelector && typeof targetView === 'string' && CONTROL.test(targetView))
    hints.push('A control without a selector: its action has no name, so that it cannot be told from others.');
  if (controller && !targetIvar) hints.push(`No instance variable of ${controller} holds this view: its name would tell it from others.`);
  return hints;
}

function titleHints({ screen, controller }, others) {
  const controllers = new Set(others.filter((other) => other.screen === screen).map((other) => other.controller));
  controllers.delete(null);
  controllers.delete(controller);
  if (!screen || screen === controller || controllers.size === 0) return [];
  return [`“${screen}” is the title of ${[controller, ...controllers].filter(Boolean).join(' and ')}: their screens look alike in reports.`];
}
