// Who asks, at a station that other machines can reach.
import {field, h} from "./dom.js";
import {problemPlace} from "./begin.js";
import {call, signedIn} from "./station.js";

export function signIn() {
  const problems = problemPlace();
  const name = h("input", {id: "name", "data-first": true, autocomplete: "username", spellcheck: "false", required: true});
  const password = h("input", {id: "password", type: "password", autocomplete: "current-password", required: true});
  const button = h("button", {class: "main"}, "Sign in");
  const send = async (event) => {
    event.preventDefault();
    problems.clear();
    button.disabled = true;
    try {
      await call("POST", "/sign-in", {name: name.value, password: password.value});
      signedIn();
    } catch (error) {
      problems.show(error);
      password.value = "";
      password.focus();
    } finally {
      button.disabled = false;
    }
  };
  return {title: "Sign in",
    element: h("form", {class: "note", onsubmit: send}, field("Name", name), field("Password", password), button,
      problems.element)};
}
