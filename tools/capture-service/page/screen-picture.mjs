// The screenshot, with the touched view outlined, and whatever node of the ancestry is pointed at. One pixel of the picture is
// one point of the window, so boxes are placed in parts of the picture's size and stay right at any scale. What is outlined is
// named below the picture, where it hides nothing.

import { el, setText } from './dom.mjs';
import { points } from './format.mjs';

const parts = (value, whole) => `${(100 * value) / whole}%`;

/** Where a box lies and how large it is, for people. */
export const frameOf = ({ x, y, width, height }) =>
  `${points(width)} × ${points(height)} at ${points(x)}, ${points(y)}`;

/** Puts the outline over the box of a picture that is decoded. */
export function placeOver({ style }, { x, y, width, height }, { naturalWidth, naturalHeight }) {
  style.left = parts(x, naturalWidth);
  style.top = parts(y, naturalHeight);
  style.width = parts(width, naturalWidth);
  style.height = parts(height, naturalHeight);
}

export class ScreenPicture {
  element;
  #target = el('div', { class: 'outline target', hidden: true });
  #pointed = el('div', { class: 'outline pointed', hidden: true });
  #frame = el('button', { class: 'screen-frame', title: 'Show it large' });
  #caption = el('figcaption', { class: 'cut' });
  #image = null;
  #targetBox = null;
  #dialog = el('dialog', { class: 'large', 'aria-label': 'The screen, large' });

  /** `onLarge()` is called before the picture is shown large. */
  constructor({ onLarge }) {
    this.element = el('figure', { class: 'screen' }, this.#frame, this.#caption);
    document.body.append(this.#dialog); // stays in sight where the window becomes too narrow for this pane
    this.#frame.addEventListener('click', () => {
      onLarge();
      this.#showLarge();
    });
    this.#dialog.addEventListener('click', () => this.#dialog.close());
  }

  /** `image` is decoded; with null there is nothing to see. */
  show(image, targetBox) {
    this.#image = image;
    this.#targetBox = targetBox;
    this.element.hidden = image === null;
    this.point(null, '');
    this.#dialog.close();
    this.#frame.replaceChildren();
    if (!image) return;
    for (const { style } of [this.element, this.#dialog]) {
      style.setProperty('--width', String(image.naturalWidth));
      style.setProperty('--height', String(image.naturalHeight));
    }
    this.#place(this.#target, targetBox);
    this.#frame.append(image, this.#target, this.#pointed);
  }

  /** Outlines a box, tints it when it is not the target's, and names it; null takes the outline away. */
  point(box, name) {
    this.#place(this.#pointed, box);
    this.#pointed.classList.toggle('tinted', box !== this.#targetBox);
    setText(this.#caption, [name, box && frameOf(box)].filter(Boolean).join(' · '));
    this.#caption.title = this.#caption.textContent;
  }

  #place(outline, box) {
    outline.hidden = !box || !this.#image;
    if (!outline.hidden) placeOver(outline, box, this.#image);
  }

  /** Twice as large where the window is wide enough, scrolled to what was touched. */
  #showLarge() {
    const close = el('button', { 'aria-label': 'Close', text: 'Close' });
    const children = [...this.#frame.children].map((child) => child.cloneNode());
    const view = el('div', { class: 'large-view', tabindex: '0' }, el('div', { class: 'large-frame' }, ...children));
    const showEdges = () => {
      view.toggleAttribute('data-above', view.scrollTop > 1);
      view.toggleAttribute('data-below', view.scrollTop + view.clientHeight < view.scrollHeight - 1);
    };
    view.addEventListener('scroll', showEdges);
    this.#dialog.replaceChildren(view, close);
    this.#dialog.showModal();
    showEdges();
    this.#dialog.querySelector('.target:not([hidden])')?.scrollIntoView({ block: 'center', inline: 'center' });
  }
}
