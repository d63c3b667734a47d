-- Links between the pages of docs/ become links between the HTML pages, all in one folder: docs/sensors/l3.md is
-- sensors-l3.html there. Those to headers and examples lead to where the packages put them. What no package holds is
-- text without a link.
local elsewhere = {
  { "^include/", "/usr/include/" },
  { "^examples/?", "/usr/share/doc/liborqcam-dev/examples/" },
}

-- The page's folder in the source: "", "docs/", "docs/sensors/".
local folder = PANDOC_STATE.input_files[1]:match("(docs/.*)$") or ""
folder = folder:match("^(.*/)") or ""

local function target(link)
  if link:match("^%a+:") or link:match("^#") then return link end
  local path, steps = folder .. link, 1
  while steps > 0 do path, steps = path:gsub("[^/]+/%.%./", "", 1) end
  for _, known in ipairs(elsewhere) do
    if path:match(known[1]) then return (path:gsub(known[1], known[2])) end
  end
  local page = path:match("^docs/(.+)$")
  if not page then return nil end
  page = page:gsub("/README%.md", ".md"):gsub("/", "-")
  return (page:gsub("%.md$", ".html"):gsub("%.md#", ".html#"))
end

function Link(link)
  local found = target(link.target)
  if not found then return link.content end
  link.target = found
  return link
end

function Image(image)
  image.src = target(image.src)
  return image
end
