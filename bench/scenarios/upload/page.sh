#!/usr/bin/haserl --upload-limit=20000 --upload-dir=.
Content-type: text/html

<% mv "$HASERL_file_path" received
name=$(printf '%s' "$FORM_file_name" | sed 's/&/\&amp;/g; s/"/\&quot;/g; s/</\&lt;/g; s/>/\&gt;/g')
%><p><%= $name %>, <%= $(wc -c <received) %> bytes</p>
