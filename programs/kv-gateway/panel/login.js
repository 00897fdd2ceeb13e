// SPDX-License-Identifier: MIT
// The login: a dialog that asks for name and password, opened by hand or because the gateway wants
// to know who we are.
import { api } from "./api.js";
import { el, setText } from "./dom.js";
import { addTexts, t, translated } from "./text.js";

addTexts({
  "login.name": ["Name", "Name", "名前"],
  "login.password": ["Password", "Passwort", "パスワード"],
  "said.the name or the password is wrong": ["The name or the password is wrong.",
    "Der Name oder das Passwort ist falsch.", "名前またはパスワードが違います。"],
  "said.too many tries: wait before the next one": ["Too many tries: wait before the next one.",
    "Zu viele Versuche: bitte vor dem nächsten warten.", "試行回数が多すぎます。しばらくお待ちください。"],
});

/** @param {() => void} onDone somebody is logged in */
export function createLogin(onDone) {
  const name = el("input", { name: "name", autocomplete: "username", required: true, maxLength: 64 });
  const password = el("input",
    { name: "password", type: "password", autocomplete: "current-password", required: true });
  const problem = el("p", { class: "problem", role: "alert" });
  const submit = el("button", { class: "primary" }, t("login"));
  const close = el("button", { type: "button", onclick: () => element.close() }, t("cancel"));
  const form = el("form", { onsubmit: send },
    el("h2", { id: "login-title" }, t("login")),
    el("label", {}, t("login.name"), name), el("label", {}, t("login.password"), password), problem,
    el("div", { class: "actions" }, close, submit));
  const element = el("dialog", { "aria-labelledby": "login-title" }, form);

  /** @param {Event} event */
  async function send(event) {
    event.preventDefault();
    submit.disabled = true;
    setText(problem, "");
    try {
      await api.logIn(name.value, password.value);
      element.close();
      onDone();
    } catch (refusal) {
      setText(problem, translated(/** @type {Error} */ (refusal).message));
    } finally {
      password.value = "";
      submit.disabled = false;
    }
  }

  return {
    element,
    open() {
      if (!element.open)
        element.showModal();
    },
  };
}
