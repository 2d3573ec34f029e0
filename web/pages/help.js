// The list of keys.

import { h } from "../app/dom.js";
import { kKeyHelp } from "../app/keys.js";
import { Page } from "../app/states.js";
import { closeButton } from "./parts.js";

class HelpView extends Page {
  start() {
    this.replaceChildren(
      closeButton(),
      h("h2", { id: "overlay-title" }, "Keys"),
      h("p", "Everything works with a mouse, by touch, with a keyboard and with the arrow keys of a remote control."),
      h(
        "div.key-lists",
        kKeyHelp.map(([title, keys]) =>
          h(
            "section",
            h("h3", title),
            h(
              "dl.keys",
              keys.map(([key, meaning]) => h("div", h("dt", h("kbd", key)), h("dd", meaning))),
            ),
          ),
        ),
      ),
    );
  }
}

customElements.define("help-view", HelpView);
