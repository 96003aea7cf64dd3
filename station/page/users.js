// The people who may sign in: for an administrator.
import {choice, field, h, moment, section, table, update} from "./dom.js";
import {problemPlace} from "./begin.js";
import {call, get} from "./station.js";

const kRoles = [["operator", "operator"], ["engineer", "engineer"], ["administrator", "administrator"]];

export function users() {
  const problems = problemPlace();
  const said = h("p", {role: "status"});
  const list = h("div");

  const act = async (method, path, body, done) => {
    problems.clear();
    said.textContent = "";
    try {
      await call(method, path, body);
      said.textContent = done;
      await read();
      return true;
    } catch (error) {
      problems.show(error);
      await read();
      return false;
    }
  };

  function row(user) {
    const change = (body, done) => act("PUT", `/users/${encodeURIComponent(user.name)}`, body, done);
    const password = h("input", {type: "password", "aria-label": `Another password for ${user.name}`, autocomplete: "new-password"});
    return [user.name,
      choice(`role-${user.name}`, kRoles, user.role, {"aria-label": `Role of ${user.name}`,
        onchange: async (event) => {
          const role = event.target;
          if (!await change({role: role.value}, `${user.name} is ${role.value} now.`)) role.value = user.role;
        }}),
      h("form", {class: "acts", onsubmit: async (event) => {
        event.preventDefault();
        if (await change({password: password.value}, `${user.name} has another password, and has to sign in again.`)) password.value = "";
      }}, password, h("button", {id: `set-${user.name}`, "aria-label": `Set the password of ${user.name}`}, "Set")),
      h("div", {class: "acts"}, h("button", {id: `disable-${user.name}`, "aria-label": `${user.disabled_at ? "Enable" : "Disable"} ${user.name}`,
        onclick: () => (user.disabled_at ? change({disabled: false}, `${user.name} may sign in again.`)
          : change({disabled: true}, `${user.name} is disabled, and signed out.`))},
      user.disabled_at ? "Enable" : "Disable"), user.disabled_at ? ` since ${moment(user.disabled_at)}` : null)];
  }

  async function read() {
    try {
      const {users: all} = await get("/users");
      update(list, table("Users", ["Name", "Role", "Password", "May sign in"], all.map(row)));
    } catch (error) {
      problems.show(error);
    }
  }

  const name = h("input", {id: "new-name", autocomplete: "off", spellcheck: "false", required: true});
  const password = h("input", {id: "new-password", type: "password", autocomplete: "new-password", required: true});
  const role = choice("new-role", kRoles, "operator");
  const add = async (event) => {
    event.preventDefault();
    const wish = {name: name.value, role: role.value, password: password.value};
    if (await act("POST", "/users", wish, `${wish.name} may sign in as ${wish.role}.`)) {
      name.value = "";
      password.value = "";
    }
  };
  return {title: "Users",
    element: h("div", {}, said, problems.element, list, section("Another one",
      h("form", {class: "start", onsubmit: add}, field("Name", name), field("Role", role),
        field("Password, 8 letters or more", password), h("button", {class: "main"}, "Add")))),
    onNews(kind) {
      if (kind !== "reload") return;
      problems.clear();
      read();
    }};
}
