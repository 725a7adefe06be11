#!/usr/bin/haserl
Content-type: text/html

<%
down() {
  if [ $n = 0 ]; then printf x; return; fi
  n=$((n - 1))
  printf '<i>'
  down
  printf '</i>'
}
k=1
while [ $k -le 200 ]; do
  n=200
%><p><% down %></p>
<% k=$((k + 1)); done %>
