#!/usr/bin/haserl --shell=lua
Content-type: text/html

<ul>
<% local s = 0
for i = 1, tonumber(FORM.n) do
  if i % 3 == 0 then s = s + i % 10 else s = s - 1 end
  if i % 1000 == 0 then %><li><%= s %></li>
<% end end %></ul>
