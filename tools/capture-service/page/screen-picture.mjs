// The screenshot, with the touched view outlined, and whatever node of the ancestry is pointed at. One pixel of the picture is
// one point of the window, so boxes are placed in parts of the picture's size and stay right at any scale.

import { el, setText } from './dom.mjs';

const TAG_PX = 20; // a tag that has no room above its outline stands inside

const parts = (value, whole) => `${(100 * value) / whole}%`;

export class ScreenPicture {
  element = el('figure', { class: 'screen' });
  #target = el('div', { class: 'outline target', hidden: true });
  #tag = el('span', { class: 'outline-tag' });
  #pointed = el('div', { class: 'outline pointed', hidden: true }, this.#tag);
  #frame = el('div', { class: 'screen-frame' });
  #caption = el('figcaption');
  #image = null;
  #targetBox = null;

  constructor() {
    this.element.append(el('div', { class: 'screen-space' }, this.#frame), this.#caption);
  }

  /** `image` is decoded; null shows `reason` in its place. */
  show(image, targetBox, reason) {
    this.#image = image;
    this.#targetBox = targetBox;
    this.#frame.hidden = image === null;
    this.element.classList.toggle('missing', image === null);
    setText(this.#caption, image ? '' : reason);
    this.#pointed.hidden = true;
    if (!image) {
      this.#frame.replaceChildren();
      return;
    }
    this.#frame.style.setProperty('--width', String(image.naturalWidth));
    this.#frame.style.setProperty('--height', String(image.naturalHeight));
    this.#place(this.#target, targetBox);
    this.#frame.replaceChildren(image, this.#target, this.#pointed);
  }

  /** Outlines and names a box, and tints it when it is not the target's; null takes the outline away. */
  point(box, name) {
    this.#place(this.#pointed, box);
    this.#pointed.classList.toggle('tinted', box !== this.#targetBox);
    setText(this.#tag, name ?? '');
    this.#tag.classList.toggle('inside', this.#pointed.offsetTop < TAG_PX);
  }

  #place(outline, box) {
    outline.hidden = !box || !this.#image;
    if (outline.hidden) return;
    const { naturalWidth, naturalHeight } = this.#image;
    outline.style.left = parts(box.x, naturalWidth);
    outline.style.top = parts(box.y, naturalHeight);
    outline.style.width = parts(box.width, naturalWidth);
    outline.style.height = parts(box.height, naturalHeight);
  }
}
