<?php
$text = '';
for ($i = 1; $i <= (int)$_GET['n']; $i++) {
  $text .= "line $i\n";
}
?>
<p><?= str_replace(["\n\n", "\n"], ["<p>\n", "<br>\n"], $text) ?></p>
