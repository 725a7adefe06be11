#!/usr/bin/haserl
Content-type: text/html

<% sed -E 's/&/\&amp;/g; s/"/\&quot;/g; s/</\&lt;/g; s/>/\&gt;/g; s|([a-z]+) ([0-9]+)|<b>\2</b> \1|g; s|.*|<p>&</p>|' _text-$FORM_n %>
