// A person of the cast or crew, and the programmes that name them.

import { h, listingText } from "../app/dom.js";
import { address } from "../app/router.js";
import { Page } from "../app/states.js";
import { closeButton, picture, programmeList, voteButtons } from "./parts.js";

class PersonView extends Page {
  start() {
    const id = this.route.parts[0] ?? "";
    const place = h("div.programme");
    this.replaceChildren(closeButton(), place);
    void this.fill(
      place,
      (signal) => this.service.person(id, signal),
      (person) => {
        document.title = `${person.name} · Corvane`;
        const programmes = h("div");
        void this.fill(
          programmes,
          (signal) => this.service.search(person.name, 0, 20, signal),
          (found) =>
            found.programmes.length
              ? [h("h3", "In the guide"), programmeList(this.service, found.programmes)]
              : h("p", "No programme in the guide names this person at the moment."),
        );
        const life = [person.birth, person.death].filter(Boolean).join(" – ");
        return [
          h(
            "div.hero",
            picture(person.picture, "poster"),
            h(
              "div.hero-text",
              h("h2", { id: "overlay-title" }, listingText(person.name || "Unknown person")),
              person.occupation ? h("p.episode", listingText(person.occupation)) : null,
              life ? h("p", life) : null,
            ),
          ),
          h(
            "div.actions",
            ...voteButtons(this.service, "personid", id, this.signal),
            h("a.button", { href: address("search", [], { q: person.name }) }, "Search by this name"),
          ),
          person.biography ? h("p.description", { dir: "auto" }, person.biography) : h("span"),
          h("section", programmes),
        ];
      },
    );
  }
}

customElements.define("person-view", PersonView);
