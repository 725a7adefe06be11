<?php
$lines = [];
for ($i = 1; $i <= (int)$_GET['n']; $i++) {
  $lines[] = "line $i";
}
?>
<p><?= count($lines) ?> rows</p>
