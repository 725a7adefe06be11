<?php
$text = '';
for ($i = 1; $i <= (int)$_GET['n']; $i++) {
  $text .= ($i > 1 ? ',' : '') . "word $i";
}
?>
<p><?= count(explode(',', $text)) ?> words</p>
