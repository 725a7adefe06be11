<?php
$words = [];
for ($i = 1; $i <= (int)$_GET['n']; $i++) {
  $words["word$i"] = true;
}
for ($i = 1; $i <= (int)$_GET['n']; $i++) {
  $words["word$i"] = true;
}
?>
<p><?= count($words) ?> words</p>
