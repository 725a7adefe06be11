#!/usr/bin/haserl
Content-type: text/html

<%
price() { printf '%s: %s euros' "$1" "$2"; }
item=$(tail -n +2 _goods | head -n 1 | cut -f 2 | sed 's/&/\&amp;/g; s/"/\&quot;/g; s/</\&lt;/g; s/>/\&gt;/g')
%><ul>
<% i=1
while [ $i -le $FORM_n ]; do
  n=$((i % 10))
%><li><% if [ $n -gt 5 ]; then %><b><%= $i %></b><% else %><%= $i %><% fi
  if [ $n = 7 ]; then printf ' last '; else printf ' more '; fi
  case $n in 0) printf none ;; 1) printf one ;; 2) printf 'a pair' ;; 3 | 4) printf 'a few' ;; *) printf many ;; esac
  printf ' '
  price "$item" $n %></li>
<% i=$((i + 1)); done %></ul>
