#!/usr/bin/haserl
Content-type: text/html

<ul>
<% s=0 i=1
while [ $i -le $FORM_n ]; do
  if [ $((i % 3)) = 0 ]; then s=$((s + i % 10)); else s=$((s - 1)); fi
  if [ $((i % 1000)) = 0 ]; then echo "<li>$s</li>"; fi
  i=$((i + 1))
done
%></ul>
