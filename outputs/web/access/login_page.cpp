#include "access/login_page.h"

#include "access/names.h"
#include "http/html_text.h"

namespace polaiga::web {

// Without a referrer, browsers hide the origin of a form that is sent (see origin.h), so the page asks for one.
std::string login_page(const LoginPage& page) {
  std::string html = R"(<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<meta name="referrer" content="same-origin">
<title>Log in - polaiga</title>
<link rel="stylesheet" href="/login.css">
</head>
<body>
<main>
<h1>polaiga</h1>
)";
  if (!page.problem.empty()) html += R"(<p class="problem" role="alert">)" + escaped(page.problem) + "</p>\n";
  html += R"(<form method="post" action="/login">
<label for="name">Name</label>
<input id="name" name="name" type="text" autocomplete="username" autocapitalize="none" spellcheck="false" required maxlength=")" +
          std::to_string(kLongestUserName) + "\" value=\"" + escaped(page.name) + "\"" +
          (page.name.empty() ? " autofocus" : "") + R"(>
<label for="password">Password</label>
<input id="password" name="password" type="password" autocomplete="current-password" required maxlength=")" +
          std::to_string(kLongestPassword) + "\"" + (page.name.empty() ? "" : " autofocus") + R"(>
<input type="hidden" name="next" value=")" +
          escaped(page.next) + R"(">
<button type="submit">Log in</button>
</form>
</main>
</body>
</html>
)";
  return html;
}

std::string_view login_style() {
  return R"(:root {
  color-scheme: light dark;
  --ground: #f4f4f2;
  --paper: #ffffff;
  --ink: #1d1f21;
  --line: #6b7076;
  --accent: #1b5faa;
  --on-accent: #ffffff;
  --problem: #a3161a;
}
@media (prefers-color-scheme: dark) {
  :root {
    --ground: #17191b;
    --paper: #202326;
    --ink: #e6e7e8;
    --line: #8f959b;
    --accent: #8fbcf0;
    --on-accent: #10151b;
    --problem: #ff9b95;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0;
  min-height: 100vh;
  display: flex;
  align-items: center;
  justify-content: center;
  background: var(--ground);
  color: var(--ink);
  font: 1rem/1.5 system-ui, sans-serif;
}
main { width: min(22rem, 100vw); padding: 2rem; background: var(--paper); }
h1 { margin: 0 0 1rem; font-size: 1.5rem; }
label { display: block; margin-top: 1rem; }
input, button { width: 100%; padding: 0.6rem; font: inherit; border-radius: 4px; }
input { background: var(--paper); color: var(--ink); border: 1px solid var(--line); }
button { margin-top: 1.5rem; border: 0; background: var(--accent); color: var(--on-accent); font-weight: 600; cursor: pointer; }
:focus-visible { outline: 3px solid var(--accent); outline-offset: 2px; }
.problem { margin: 0; padding: 0.6rem; border: 2px solid var(--problem); color: var(--problem); }
)";
}

}  // namespace polaiga::web
