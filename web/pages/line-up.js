// Choosing a line-up in steps: the place, the line-ups that reach it, questions that distinguish similar ones, saving.

import { button, h, listingText } from "../app/dom.js";
import { dataOf } from "../app/records.js";
import { StatusError } from "../app/rpc.js";
import { emptyState, notify, notifyFailure, Page } from "../app/states.js";

/**
 * @typedef {object} Headend
 * @property {string} id
 * @property {string} name
 * @property {string} operator
 * @property {string} kind
 * @property {string} city
 * @property {{type: string, name: string}[]} devices
 */

/** @param {any} record WVLHeadend @returns {Headend} */
function headendOf(record) {
  return {
    id: record.HeadendID,
    name: record.MsoMbrName || record.MsoName || record.HeadendID,
    operator: record.MsoName,
    kind: record.MsoServiceType,
    city: record.HeadendCity,
    devices: dataOf(record.DeviceList)
      .filter((device) => device.DeviceType)
      .map((device) => ({ type: device.DeviceType, name: device.DeviceName })),
  };
}

class LineUpPage extends Page {
  start() {
    this.saved = h("p.saved");
    this.steps = h("div.steps");
    this.replaceChildren(
      h("h1", "Line-up"),
      h(
        "p",
        "A line-up is the list of channels that you receive. It depends on where you live and on your television provider.",
      ),
      this.saved,
      this.steps,
    );
    this.askPlace();
    void this.showSaved();
  }

  async showSaved() {
    try {
      const [record] = await this.service.call("loadHeadend", [], this.signal);
      const device = dataOf(record.DeviceList)[0];
      this.saved?.replaceChildren(
        record.HeadendID ? "Saved: " : "No line-up is saved yet.",
        record.HeadendID ? h("strong", record.HeadendID) : "",
        device?.DeviceType ? `, device ${device.DeviceType}` : "",
      );
    } catch {
      this.saved?.replaceChildren("");
    }
  }

  /** @param {string} number @param {string} title @param {...(Node | string)} content */
  step(number, title, ...content) {
    return h("section.step", h("h2", h("span.step-number", number), title), ...content);
  }

  askPlace() {
    const code = h("input.field", { id: "postal-code", autocomplete: "postal-code", required: true });
    const byCode = h(
      "form.search-form",
      h("label", { for: "postal-code" }, "Postal code"),
      code,
      h("button.button.primary", "Find line-ups"),
    );
    byCode.addEventListener("submit", (event) => {
      event.preventDefault();
      void this.showHeadends("getHeadend", code.value.trim());
    });
    const cities = h("div");
    const byCity = h("details", h("summary", "Or choose a state and a city"), cities);
    byCity.addEventListener("toggle", () => byCity.open && !cities.childElementCount && void this.showCities(cities), {
      once: true,
    });
    this.places = h("div");
    this.steps?.replaceChildren(this.step("1", "Where do you live?", byCode, byCity), this.places);
  }

  /** @param {HTMLElement} place */
  async showCities(place) {
    await this.fill(
      place,
      (signal) => this.service.call("getCityList", [], signal),
      ([states, cities]) => {
        const state = h(
          "select.field",
          { id: "state" },
          Object.entries(states).map(([key, name]) => h("option", { value: key }, String(name))),
        );
        const city = h("select.field", { id: "city" });
        const show = () =>
          city.replaceChildren(
            .../** @type {[number, {Code: string, Name: string}][]} */ (cities)
              .filter(([of]) => String(of) === state.value)
              .map(([, one]) => h("option", { value: one.Code }, one.Name)),
          );
        state.addEventListener("change", show);
        show();
        const form = h(
          "form.search-form",
          h("label", { for: "state" }, "State"),
          state,
          h("label", { for: "city" }, "City"),
          city,
          h("button.button.primary", "Find line-ups"),
        );
        form.addEventListener("submit", (event) => {
          event.preventDefault();
          void this.showHeadends("getHeadend_Kor", city.value);
        });
        return form;
      },
    );
  }

  /** @param {string} operation @param {string} code */
  async showHeadends(operation, code) {
    if (!this.places) return;
    await this.fill(
      this.places,
      async (signal) => {
        try {
          const [container] = await this.service.call(operation, [code], signal);
          return dataOf(container).map(headendOf);
        } catch (error) {
          // Status -55 means an empty list.
          if (error instanceof StatusError && error.status === -55) return [];
          throw error;
        }
      },
      (headends) => {
        if (!headends.length)
          return emptyState(
            "No line-up reaches this place",
            `The service knows none for “${code}”. Check the postal code, or choose your city.`,
          );
        this.headends = headends;
        this.quizPlace = h("div");
        const help = headends.length > 1 ? button("I do not know: ask me questions", () => this.askQuestions()) : "";
        return [
          this.step(
            "2",
            headends.length === 1 ? "This line-up reaches you" : "Which one is yours?",
            h(
              "ul.headends",
              headends.map((one) => h("li", this.headendCard(one))),
            ),
            help,
          ),
          this.quizPlace,
        ];
      },
    );
    this.places.scrollIntoView({ block: "nearest" });
  }

  /** @param {Headend} headend */
  headendCard(headend) {
    const device = h(
      "select.field",
      { "aria-label": `Device for ${headend.name}` },
      headend.devices.map((one) => h("option", { value: one.type }, one.name)),
    );
    return h(
      "div.headend",
      h(
        "div",
        listingText(headend.name, "title"),
        h("small", [headend.operator, headend.kind, headend.city].filter(Boolean).join(" · ")),
      ),
      headend.devices.length > 1 ? device : h("small", headend.devices[0]?.name ?? ""),
      h(
        "button.button.primary",
        { "aria-label": `Use ${headend.name}`, onclick: () => void this.save(headend, device.value) },
        "Use this one",
      ),
    );
  }

  async askQuestions() {
    if (!this.quizPlace || !this.headends) return;
    const ids = new Set(this.headends.map((one) => one.id));
    await this.fill(
      this.quizPlace,
      (signal) => this.service.call("getLineupTest", [this.headends?.[0].id ?? ""], signal),
      ([container]) => {
        const questions = dataOf(container).map((quiz) => ({
          number: quiz.Number || [quiz.Major, quiz.Minor].filter(Boolean).join("-"),
          answers: dataOf(quiz.AnswerList).filter((answer) => ids.has(answer.HeadendId)),
        }));
        const useful = questions.filter((one) => one.answers.length);
        if (!useful.length)
          return emptyState(
            "There are no questions",
            "These line-ups do not differ in a way that questions can decide. Ask your television provider.",
          );
        const body = h("div.quiz", { "aria-live": "polite" });
        this.ask(body, useful, 0, ids);
        return this.step("3", "What do you see?", body);
      },
    );
    this.quizPlace.scrollIntoView({ block: "nearest" });
  }

  /**
   * Asks one question after the other until one headend is left.
   * @param {HTMLElement} place @param {{number: string, answers: any[]}[]} questions @param {number} index @param {Set<string>} left
   * @returns {void}
   */
  ask(place, questions, index, left) {
    const found = () => (this.headends ?? []).filter((one) => left.has(one.id));
    if (left.size <= 1 || index >= questions.length) {
      const rest = found();
      place.replaceChildren(
        h(
          "p",
          rest.length === 1
            ? "This is your line-up:"
            : rest.length
              ? "These fit your answers:"
              : "No line-up fits all your answers.",
        ),
        rest.length
          ? h(
              "ul.headends",
              rest.map((one) => h("li", this.headendCard(one))),
            )
          : button("Start again", () => this.askQuestions()),
      );
      place.querySelector("button")?.focus();
      return;
    }
    const { number, answers } = questions[index];
    /** @type {Map<string, Set<string>>} */
    const byName = new Map();
    for (const answer of answers)
      if (left.has(answer.HeadendId))
        byName.set(answer.Name, (byName.get(answer.Name) ?? new Set()).add(answer.HeadendId));
    if (byName.size < 2) return this.ask(place, questions, index + 1, left);
    place.replaceChildren(
      h("p", "Which channel is on number ", h("strong", number), "?"),
      h(
        "div.actions",
        [...byName].map(([name, ids]) =>
          h(
            "button.button",
            { onclick: () => this.ask(place, questions, index + 1, ids) },
            name === "None" ? "None" : listingText(name),
          ),
        ),
        button("I do not know", () => this.ask(place, questions, index + 1, left), ".quiet"),
      ),
    );
    if (index) place.querySelector("button")?.focus();
  }

  /** @param {Headend} headend @param {string} device */
  async save(headend, device) {
    try {
      await this.service.chooseLineUp(headend.id, device || headend.devices[0]?.type || "");
      await this.service.call("saveHeadend", []);
      await this.service.fetchChannels();
      notify(`${headend.name} is saved: ${this.service.channels.length} channels`);
      await this.showSaved();
      this.steps?.replaceChildren(
        emptyState(
          `${headend.name} is your line-up`,
          `It has ${this.service.channels.length} channels.`,
          h("a.button.primary", { href: "#/guide" }, "To the guide"),
          button("Choose another one", () => this.askPlace()),
        ),
      );
    } catch (error) {
      void notifyFailure(error);
    }
  }

  /** @type {HTMLElement | undefined} */ saved;
  /** @type {HTMLElement | undefined} */ steps;
  /** @type {HTMLElement | undefined} */ places;
  /** @type {HTMLElement | undefined} */ quizPlace;
  /** @type {Headend[] | undefined} */ headends;
}

customElements.define("line-up-page", LineUpPage);
