-- Links between the pages of docs/ become links between the HTML pages, all in one folder; those to headers and examples
-- lead to where the packages put them. What no package holds is text without a link.
local elsewhere = {
  { "^include/", "/usr/include/" },
  { "^examples/?", "/usr/share/doc/liborqcam-dev/examples/" },
}

local function target(link)
  if link:match("^%a+:") or link:match("^#") then return link end
  local path = link:gsub("^%.%./", "")
  for _, known in ipairs(elsewhere) do
    if path:match(known[1]) then return (path:gsub(known[1], known[2])) end
  end
  local page = path:gsub("^docs/", "")
  if page:match("/") then return nil end
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
