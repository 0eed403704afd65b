// Buttons that copy, and say that they did.

import { announce, el, icon, notice, showIcon } from './dom.mjs';

const FEEDBACK_MS = 1600;

/** A button that copies what `content()` answers when it is pressed. */
export function copyButton(label, content) {
  const picture = icon('copy');
  const words = el('span', { text: label });
  const button = el('button', { class: 'copy' }, picture, words);
  let timer;
  button.addEventListener('click', async () => {
    if (button.hasAttribute('aria-disabled')) return;
    if (!(await copy(content()))) {
      notice('The browser does not allow copying. Select the text and copy it by hand.');
      return;
    }
    words.textContent = 'Copied';
    showIcon(picture, 'check');
    announce('Copied');
    clearTimeout(timer);
    timer = setTimeout(() => {
      words.textContent = label;
      showIcon(picture, 'copy');
    }, FEEDBACK_MS);
  });
  return button;
}

async function copy(text) {
  try {
    await navigator.clipboard.writeText(text);
    return true;
  } catch {
    return copyThroughSelection(text);
  }
}

/** For browsers that keep the clipboard from a page without permission. */
function copyThroughSelection(text) {
  const focused = document.activeElement;
  const area = el('textarea', { class: 'visually-hidden', readonly: true });
  area.value = text;
  document.body.append(area);
  area.select();
  const copied = document.execCommand('copy');
  area.remove();
  focused?.focus();
  return copied;
}
